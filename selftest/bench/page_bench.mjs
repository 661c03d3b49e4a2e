// page_bench.mjs QUORLE PACKAGES [EVENTS...]: how long the HTML page of these event files, or of 1,000 made-up runs of
// 108 checks, takes to open in Chromium: from the navigation to the first frame after the load event, when the table
// can be seen and used. PACKAGES is the folder that selftest/results/install filled.
import { existsSync, statSync } from 'node:fs';
import path from 'node:path';
import { folder, makeRuns, report, require, skip } from '../results/tools.mjs';

const { chromium } = require('playwright-core');
const executablePath = ['/usr/bin/chromium', '/usr/bin/chromium-browser', '/usr/bin/google-chrome'].find(existsSync);
if (executablePath === undefined) skip('no Chromium is here');

const events = process.argv.slice(4);
const page = path.join(folder, 'page.html');
report('--html', '-o', page, ...(events.length > 0 ? events : makeRuns(1000)));
console.log(`${(statSync(page).size / 1e6).toFixed(1)} MB`);

const rounds = 7;
const walls = [], tasks = [];
for (let round = 0; round < rounds; ++round) {
  // A browser that has seen no page before.
  const browser = await chromium.launch({ executablePath, args: ['--no-sandbox'] });
  const tab = await browser.newPage({ viewport: { width: 1280, height: 900 } });
  const session = await tab.context().newCDPSession(tab);
  await session.send('Performance.enable', { timeDomain: 'threadTicks' });
  await tab.goto('file://' + page);
  walls.push(await tab.evaluate(() => new Promise((done) => {
    requestAnimationFrame(() => requestAnimationFrame(() => done(performance.now())));
  })));
  const { metrics } = await session.send('Performance.getMetrics');
  tasks.push(1000 * metrics.find(({ name }) => name === 'TaskDuration').value);
  const elements = await tab.evaluate(() => document.getElementsByTagName('*').length);
  console.log(`open after ${Math.round(walls[round])} ms, ${Math.round(tasks[round])} ms of processor time of its thread, ${elements} elements`);
  await browser.close();
}
const median = (values) => Math.round(values.sort((a, b) => a - b)[(rounds - 1) / 2]);
console.log(`median: open after ${median(walls)} ms, ${median(tasks)} ms of processor time`);

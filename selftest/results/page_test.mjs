// page_test.mjs QUORLE PACKAGES: the HTML report in a browser, with 1, 12, 100 and 1,000 runs as columns. Of 100 and
// more it has the checks of a few groups: what many columns need is the same for every row.
import assert from 'node:assert/strict';
import { existsSync, readFileSync, writeFileSync } from 'node:fs';
import path from 'node:path';
import test, { after, before } from 'node:test';
import { checksOf, eventsOf, folder, makeRuns, report, require, skip } from './tools.mjs';

const { chromium } = require('playwright-core');
const axe = require.resolve('axe-core/axe.min.js');
const executablePath = ['/usr/bin/chromium', '/usr/bin/chromium-browser', '/usr/bin/google-chrome'].find(existsSync);
if (executablePath === undefined) skip('no Chromium is here');

const counts = [1, 12, 100];
const files = {};
const pages = {};
const fewPages = {};
let browser, tab, problems;

/** The same runs with the checks of a few groups, which have every verdict. */
function withFewChecks(paths) {
  const groups = ['ChangeLockMode', 'CreateSoftLink', 'Delete', 'Lock', 'SetComment'];
  return paths.map((file) => {
    const few = path.join(folder, 'few-' + path.basename(file));
    const events = eventsOf(file).filter((event) => event.event !== 'check' || groups.includes(event.id.split('.')[0]));
    writeFileSync(few, events.map((event) => JSON.stringify(event) + '\n').join(''));
    return few;
  });
}

before(async () => {
  browser = await chromium.launch({ executablePath, args: ['--no-sandbox', '--disable-gpu'] });
  tab = await newTab({});
  const all = makeRuns(100);
  const few = withFewChecks(all);
  files[1] = all.slice(0, 1);
  files[12] = all.slice(0, 12);
  files[100] = few;
  for (const count of counts) {
    pages[count] = path.join(folder, count + '.html');
    report('--html', '-o', pages[count], ...files[count]);
    fewPages[count] = path.join(folder, 'few-' + count + '.html');
    report('--html', '-o', fewPages[count], ...few.slice(0, count));
  }
});
after(() => browser.close());

/** A tab that notes in `problems` what a page complains of and whom it asks for anything. */
async function newTab(settings) {
  const context = await browser.newContext({ offline: true, ...settings });
  const page = await context.newPage();
  page.on('pageerror', (error) => problems.push(String(error)));
  page.on('console', (message) => { if (message.type() === 'error') problems.push(message.text()); });
  page.on('dialog', (dialog) => { problems.push('a dialog'); dialog.dismiss(); });
  page.on('request', (request) => { if (!request.isNavigationRequest()) problems.push(request.url()); });
  return page;
}

/** Opens a page, calls `use` with it, and looks whether the page was content and asked nobody for anything. */
async function withPage(file, settings, use) {
  const { hash = '', viewport = { width: 1280, height: 900 }, colorScheme = 'light', media = 'screen' } = settings;
  const page = settings.tab ?? tab;
  problems = [];
  await page.setViewportSize(viewport);
  await page.emulateMedia({ colorScheme, media });
  // From the page itself another hash would be no new page.
  await page.goto('about:blank');
  await page.goto('file://' + file + hash);
  await use(page);
  assert.deepEqual(problems, []);
}

/** The ids of the rows of that class that can be seen. */
function visible(page, className) {
  return page.$$eval('tr.' + className, (rows) => rows.filter((row) => row.offsetParent !== null).map((row) => row.id));
}

const groupButton = (id) => `tr.g[id="${id}"] button`;
const checkButton = (id) => `tr.c[id="${id}"] button`;
const details = (id) => `tr.c[id="${id}"] + tr.d`;

async function faults(page, count) {
  await page.addScriptTag({ path: axe });
  const options = { resultTypes: ['violations'], rules: {} };
  // A hundred columns have the colours of twelve, and looking at those of each cell takes long.
  if (count === 100) options.rules['color-contrast'] = { enabled: false };
  const found = await page.evaluate(async (how) => (await window.axe.run(document, how)).violations, options);
  return found.map((fault) => `${fault.id}: ${fault.nodes.length} times, ${fault.nodes[0].html.slice(0, 100)}, ${fault.nodes[0].failureSummary}`);
}

/** Waits until what scrolling and resizing changed is drawn. */
const drawn = (page) => page.evaluate(() => new Promise((done) => { requestAnimationFrame(() => requestAnimationFrame(done)); }));

/** The words of all cells, of each check by its column. */
async function wordsOf(page) {
  const words = {};
  await page.$eval('.scroll', (box) => { box.scrollLeft = 0; });
  for (let isEnd = false; !isEnd;) {
    await drawn(page);
    const seen = await page.$$eval('tr.c', (rows) => rows.map((row) => {
      const cells = [];
      let column = 0;
      for (const cell of row.cells) {
        if (cell.matches('td.v')) cells.push([column, cell.firstChild.textContent.trim()]);
        column += cell.colSpan;
      }
      return [row.id, cells, column];
    }));
    for (const [id, cells, end] of seen) {
      words[id] ??= Array(end).fill(null);
      for (const [column, word] of cells) words[id][column] = word;
    }
    isEnd = await page.$eval('.scroll', (box) => {
      const before = box.scrollLeft;
      box.scrollLeft += box.clientWidth;
      return box.scrollLeft === before;
    });
  }
  return words;
}

for (const count of counts) {
  test(`${count} runs: each cell has its verdict`, () => withPage(pages[count], {}, async (page) => {
    const heads = await page.$$eval('thead th.run', (cells) => cells.map((cell) => cell.textContent));
    assert.equal(heads.length, count);
    files[count].forEach((file, i) => assert.ok(heads[i].endsWith(path.basename(file, '.jsonl')), heads[i]));
    await page.click('#ui-unfold');
    const words = await wordsOf(page);
    const runs = files[count].map(checksOf);
    assert.deepEqual(Object.keys(words), runs[0].map((check) => check.id));
    const left = count > 1 ? 2 : 1;
    runs[0].forEach(({ id }, i) => assert.deepEqual(words[id].slice(left), runs.map((checks) => checks[i].verdict), id));
  }));

  test(`${count} runs: groups unfold into checks, checks into what is to be said of them`, () => withPage(pages[count], {}, async (page) => {
    await page.click('#ui-fold');
    const checks = checksOf(files[count][0]);
    assert.deepEqual(await visible(page, 'c'), []);
    assert.deepEqual(await visible(page, 'g'), [...new Set(checks.map((check) => check.id.split('.')[0]))]);
    await page.click(groupButton('Delete'));
    assert.deepEqual(await visible(page, 'c'), checks.map((check) => check.id).filter((id) => id.startsWith('Delete.')));
    assert.equal(await page.isVisible(details('Delete.OpenFile')), false);
    await page.click(checkButton('Delete.OpenFile'));
    const text = await page.innerText(details('Delete.OpenFile'));
    if (count > 1) {
      assert.match(text, /ERROR: Delete\("FILE01"\) succeeded, but should have failed, as it was in use\./);
      assert.match(text, /object not found <b>&amp; `\|`/);
      assert.match(text, /quorle --select Delete\.OpenFile --mount DH0=\w+ DH0: NI/);
    }
    assert.match(text, /Why it matters:/);
    assert.equal(text.split('Why it matters:').length, 2, 'the explanation is there once');
    assert.equal(await page.getAttribute(checkButton('Delete.OpenFile'), 'aria-expanded'), 'true');
    await page.click(groupButton('Delete'));
    assert.deepEqual(await visible(page, 'c'), []);
    assert.equal(await page.isVisible(details('Delete.OpenFile')), false);
    await page.click('#ui-unfold');
    assert.equal((await visible(page, 'c')).length, checks.length);
  }));

  test(`${count} runs: nothing but the table is wider than 360 px`, () => withPage(pages[count], { viewport: { width: 360, height: 740 } }, async (page) => {
    await page.click('#ui-unfold');
    if (await page.$('details')) await page.click('summary');
    await page.click(checkButton('Delete.OpenFile'));
    assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), 360);
    const { width, inner } = await page.$eval('.scroll', (box) => ({ width: box.clientWidth, inner: box.scrollWidth }));
    assert.equal(inner > width, count > 1);
    const box = await page.locator(details('Delete.OpenFile') + ' .more').boundingBox();
    assert.ok(box.x >= 0 && box.x + box.width <= 360, 'what unfolds is as wide as the screen');
  }));

  for (const [colorScheme, width] of [['light', 1280], ['dark', 360]]) {
    if (count === 100 && width === 360) continue;
    test(`${count} runs, ${colorScheme}, ${width} px: axe finds no fault`, () => withPage(fewPages[count], { colorScheme, viewport: { width, height: 800 }, hash: '#Delete.OpenFile' }, async (page) => {
      assert.deepEqual(await faults(page, count), []);
    }));
  }
}

test('a filter shows the checks that have such a verdict somewhere', () => withPage(pages[12], {}, async (page) => {
  const runs = files[12].map(checksOf);
  const having = (...verdicts) => runs[0].map((check) => check.id).filter((id, i) => runs.some((checks) => verdicts.includes(checks[i].verdict)));
  await page.check('input[data-verdict=b]');
  assert.deepEqual(await visible(page, 'c'), having('blocked'));
  assert.deepEqual(await visible(page, 'g'), ['Lock']);
  await page.check('input[data-verdict=n]');
  assert.deepEqual(await visible(page, 'c'), having('blocked', 'unsupported'));
  assert.equal(await page.innerText('#ui-count'), `${having('blocked', 'unsupported').length} of ${runs[0].length} checks`);
  await page.uncheck('input[data-verdict=b]');
  await page.uncheck('input[data-verdict=n]');
  await page.check('#ui-unexpected');
  assert.deepEqual(await visible(page, 'c'), having('fail', 'blocked', 'unsupported'));
  await page.check('input[data-verdict=s]');
  assert.deepEqual(await visible(page, 'c'), []);
  assert.equal(await page.isVisible('#ui-none'), true);
}));

test('the search looks at ids and at all that is said of a check', () => withPage(pages[12], {}, async (page) => {
  await page.fill('#ui-search', 'directory into itself.');
  assert.ok((await visible(page, 'c')).includes('Rename.DirectoryLoop'));
  await page.fill('#ui-search', 'moved DIRECTORY itself');
  assert.deepEqual(await visible(page, 'c'), ['Rename.DirectoryLoop']);
  await page.fill('#ui-search', 'delete.open');
  assert.deepEqual(await visible(page, 'c'), ['Delete.OpenFile']);
  await page.fill('#ui-search', 'no such thing');
  assert.equal(await page.isVisible('#ui-none'), true);
  await page.press('#ui-search', 'Escape');
  assert.equal(await page.innerText('#ui-count'), '108 of 108 checks');
}));

test('a link to a check unfolds it and goes there', () => withPage(pages[12], { hash: '#Lock.MissingObject' }, async (page) => {
  const ids = checksOf(files[12][0]).map((check) => check.id);
  const look = async (id) => {
    assert.equal(await page.isVisible(details(id)), true);
    const seen = await page.$eval(`tr.c[id="${id}"]`, (row) => {
      const box = row.getBoundingClientRect();
      const head = document.querySelector('thead').getBoundingClientRect();
      return box.top >= Math.max(0, head.bottom) - 1 && box.bottom <= innerHeight;
    });
    assert.equal(seen, true, id);
    assert.equal(await page.evaluate(() => document.activeElement.closest('tr').id), id);
  };
  await page.waitForFunction(() => document.activeElement.closest('tr')?.id === 'Lock.MissingObject');
  await look('Lock.MissingObject');
  const last = ids[ids.length - 1];
  await page.evaluate((id) => { location.hash = id; }, last);
  await page.waitForFunction((id) => document.activeElement.closest('tr')?.id === id, last);
  await look(last);
  await page.fill('#ui-search', 'no such thing');
  await page.evaluate(() => { location.hash = 'Delete.OpenFile'; });
  await page.waitForFunction(() => document.activeElement.closest('tr')?.id === 'Delete.OpenFile');
  await look('Delete.OpenFile');
}));

test('a link of a column shows its run', () => withPage(pages[100], { hash: '#run-77' }, async (page) => {
  assert.equal(await page.isVisible('#run-77'), true);
}));

test('everything can be done with the keyboard', () => withPage(pages[12], {}, async (page) => {
  const focused = () => page.evaluate(() => document.activeElement.closest('tr')?.id ?? document.activeElement.id);
  await page.keyboard.press('/');
  assert.equal(await focused(), 'ui-search');
  await page.keyboard.type('rename.directoryloop');
  await page.keyboard.press('Tab');
  assert.equal(await focused(), 'ui-unexpected');
  await page.keyboard.press('Space');
  for (let i = 0; i < 40 && await focused() !== 'Rename'; ++i) await page.keyboard.press('Tab');
  assert.equal(await focused(), 'Rename');
  await page.keyboard.press('ArrowDown');
  assert.equal(await focused(), 'Rename.DirectoryLoop');
  await page.keyboard.press('Enter');
  assert.equal(await page.isVisible(details('Rename.DirectoryLoop')), true);
  await page.keyboard.press('ArrowLeft');
  assert.equal(await page.isVisible(details('Rename.DirectoryLoop')), false);
  await page.keyboard.press('ArrowLeft');
  assert.equal(await focused(), 'Rename');
  await page.keyboard.press('ArrowLeft');
  assert.deepEqual(await visible(page, 'c'), []);
  await page.keyboard.press('ArrowRight');
  assert.deepEqual(await visible(page, 'c'), ['Rename.DirectoryLoop']);
  const outline = await page.evaluate(() => getComputedStyle(document.activeElement).outlineStyle);
  assert.notEqual(outline, 'none', 'one sees where one is');
  await page.keyboard.press('/');
  await page.keyboard.press('Escape');
  assert.equal(await page.innerText('#ui-count'), '108 of 108 checks');
}));

test('dark is dark', () => withPage(pages[1], { colorScheme: 'dark' }, async (page) => {
  const light = await page.evaluate(() => getComputedStyle(document.body).backgroundColor.match(/\d+/g).map(Number));
  assert.ok(Math.max(...light) < 64, String(light));
}));

/** A run with each way in which a check can come out. */
function everyMark() {
  const file = path.join(folder, 'marks.jsonl');
  const check = (id, verdict) => ({ event: 'check', id, row: 1, number: 1, verdict });
  writeFileSync(file, [{ event: 'run', version: 1, handler: 'fat' },
    check('CreateSoftLink.LinkToFile', 'unsupported'), check('Rename.DirectoryLoop', 'pass'), check('Lock.A', 'fail'), check('Lock.B', 'blocked'),
    check('Lock.C', 'unsupported'), check('Lock.D', 'warn'), check('Lock.E', 'pass'), check('Lock.F', 'skipped'),
    { event: 'end', result: 10 }].map((event) => JSON.stringify(event) + '\n').join(''));
  const page = path.join(folder, 'marks.html');
  report('--html', '--expect', path.join(import.meta.dirname ?? path.dirname(new URL(import.meta.url).pathname), 'expectations.toml'), '-o', page, file);
  return page;
}

for (const media of ['screen', 'print']) {
  test(`verdicts are told apart without colour, on ${media}`, () => withPage(everyMark(), {}, async (page) => {
    await page.click('#ui-unfold');
    await page.emulateMedia({ media });
    const marks = await page.$$eval('tr.c td.v', (cells) => cells.map((cell) => {
      const style = getComputedStyle(cell, '::before');
      const clear = (colour) => colour === 'rgba(0, 0, 0, 0)' || colour === 'rgb(255, 255, 255)';
      const edge = clear(style.borderTopColor) ? 'none' : style.borderTopStyle;
      return [style.content, clear(style.backgroundColor) ? 'clear' : 'filled', edge].join(' ');
    }));
    assert.equal(marks.length, 8);
    assert.equal(new Set(marks).size, 8, marks.join('\n'));
    const words = await page.$$eval('tr.c td.v', (cells) => cells.map((cell) => cell.firstChild.textContent.trim()));
    assert.deepEqual(words.sort(), ['blocked', 'fail', 'pass', 'pass, unexpected', 'skipped', 'unsupported', 'unsupported, known', 'warn']);
  }));
}

for (const count of counts) {
  test(`${count} runs fit on paper`, () => withPage(pages[count], { viewport: { width: 720, height: 1000 }, hash: '#Delete.OpenFile' }, async (page) => {
    await page.emulateMedia({ media: 'print' });
    assert.equal(await page.isVisible('.controls'), false);
    assert.equal(await page.isVisible(details('Delete.OpenFile')), true);
    assert.ok(await page.evaluate(() => document.documentElement.scrollWidth) <= 720);
    assert.equal(await page.isVisible('tr.c[id="Delete.OpenFile"] td.v'), count <= 40);
    assert.ok((await page.pdf({ format: 'A4' })).length > 10000);
  }));
}

test('of a thousand runs only the verdicts in view are there', () => {
  const runs = files[100].map(checksOf);
  const made = path.join(folder, '1000.html');
  report('--html', '-o', made, ...Array(10).fill(files[100]).flat());
  return withPage(made, {}, async (page) => {
    // The cell of a check three quarters to the right, where no row's head covers it, and the run, from 0, whose head is over it.
    const cellInView = () => page.$eval('tr.c[id="Delete.OpenFile"]', (row) => {
      const box = document.querySelector('.scroll').getBoundingClientRect();
      const x = box.left + box.width * 3 / 4;
      const under = (cells) => Array.from(cells).find((cell) => cell.getBoundingClientRect().left <= x && cell.getBoundingClientRect().right > x);
      const cell = under(row.cells);
      cell.dispatchEvent(new MouseEvent('mouseover', { bubbles: true }));
      return { run: Number(under(document.querySelectorAll('th.run')).querySelector('.no').textContent) - 1, cell: cell.className, word: cell.textContent, title: cell.title };
    });
    const look = async () => {
      await drawn(page);
      const rows = await page.$$eval('tr.g, tr.c', (all) => all.filter((row) => row.offsetParent !== null).length);
      assert.ok(await page.locator('td.v').count() <= 80 * rows, 'a row has at most 80 verdicts');
      const { run, cell, word, title } = await cellInView();
      const check = runs[run % 100].find(({ id }) => id === 'Delete.OpenFile');
      assert.match(cell, /^v /);
      assert.equal(word, check.verdict);
      const name = path.basename(files[100][run % 100], '.jsonl');
      assert.equal(title, `Delete.OpenFile, ${run + 1} ${name}: ${check.verdict}`);
      return run;
    };
    await page.click(groupButton('Delete'));
    const first = await look();
    assert.ok(first < 40, String(first));
    await page.focus('thead a[href="#run-777"]');
    const further = await look();
    assert.ok(further > 736 && further < 816, String(further));
    // What is opened now has the verdicts in view.
    await page.click(groupButton('Lock'));
    assert.equal(await page.locator('tr.c[id="Lock.MissingObject"] td.v').count(), await page.locator('tr.c[id="Delete.OpenFile"] td.v').count());
    await page.$eval('.scroll', (box) => { box.scrollLeft = box.scrollWidth; });
    assert.ok(await look() > 960);
    // A wider screen shows more of them.
    await page.setViewportSize({ width: 1600, height: 900 });
    assert.ok(await look() < 1000);
    const { seen, there } = await page.$eval('tr.c[id="Delete.OpenFile"]', (row) => ({
      seen: document.querySelector('.scroll').getBoundingClientRect().left, there: row.querySelector('td.v').getBoundingClientRect().left }));
    assert.ok(there <= seen);
  });
});

async function lookWithoutScript(page) {
  const runs = files[12].map(checksOf);
  assert.equal(await page.locator('tr.c:visible').count(), runs[0].length);
  const cells = page.locator('tr.c[id="Delete.OpenFile"] td.v:visible');
  assert.deepEqual((await cells.allTextContents()).map((word) => word.trim()), runs.map((checks) => checks.find(({ id }) => id === 'Delete.OpenFile').verdict));
  assert.equal(await page.isVisible(details('Delete.OpenFile')), true);
  assert.equal(await page.isVisible('.controls'), false);
}

test('without a script everything is there', async () => withPage(pages[12], { tab: await newTab({ javaScriptEnabled: false }) }, lookWithoutScript));

test('with its scripts forbidden everything is there', () => {
  const forbidden = path.join(folder, 'forbidden.html');
  const policy = '<meta http-equiv="Content-Security-Policy" content="script-src \'none\'">';
  writeFileSync(forbidden, readFileSync(pages[12], 'utf8').replace('<head>', '<head>' + policy));
  return withPage(forbidden, {}, async (page) => {
    await lookWithoutScript(page);
    assert.ok(problems.length > 0 && problems.every((problem) => problem.includes('script-src')), problems.join('\n'));
    problems = [];
  });
});

test('a page that was saved from the browser works', () => withPage(fewPages[12], {}, async (page) => {
  await page.click('#ui-unfold');
  const words = await wordsOf(page);
  const saved = path.join(folder, 'saved.html');
  writeFileSync(saved, await page.content());
  await page.goto('file://' + saved);
  assert.equal(await page.locator('#ui-table').count(), 1);
  await page.click('#ui-unfold');
  assert.deepEqual(await wordsOf(page), words);
}));

test('what a handler says is text', () => {
  const evil = '</td></script><script>alert(1)</script><img src=x onerror=alert(2)>" onload="alert(3) \u202e\u001b[2J';
  const file = path.join(folder, 'evil<img src=x>"\'.jsonl');
  writeFileSync(file, [{ event: 'run', version: 1, device: evil, words: evil, arguments: [evil], handler: evil, port: evil, time: evil },
    { event: 'target', filesystem: evil },
    { event: 'check', id: 'A.' + evil, verdict: 'fail', catalogue: evil, diagnostics: [{ class: evil, text: evil }], cause: evil, why: evil, objects: [evil] },
    { event: 'left-behind', id: evil, object: evil }, { event: 'complaint', id: evil, text: evil },
    { event: 'end', result: 10 }].map((event) => JSON.stringify(event) + '\n').join(''));
  const made = path.join(folder, 'evil.html');
  report('--html', '-o', made, file, file);
  return withPage(made, {}, async (page) => {
    await page.click('#ui-unfold');
    assert.equal(await page.locator('img').count(), 0);
    assert.equal(await page.locator('script').count(), 3);
    assert.equal(await page.locator('[onload], [onerror]').count(), 0);
    assert.ok((await page.textContent('.more')).includes('<script>alert(1)</script>'));
  });
});

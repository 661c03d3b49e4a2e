// What the tests of reports share: runs that were never made, the program, and packages of npm.
import { execFileSync } from 'node:child_process';
import { existsSync, mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import path from 'node:path';

const [program, packages] = process.argv.slice(2);
const here = import.meta.dirname ?? path.dirname(new URL(import.meta.url).pathname);

/** Ends the test as skipped. */
export function skip(why) {
  console.log(why);
  process.exit(77);
}

if (!existsSync(path.join(packages, 'installed'))) skip('the packages of npm are not here');
export const require = createRequire(packages + '/');

export const folder = mkdtempSync(path.join(tmpdir(), 'quorle-report-'));
process.on('exit', () => rmSync(folder, { recursive: true, force: true }));

/** The event files of `count` runs. */
export function makeRuns(count) {
  const runs = path.join(folder, 'runs-' + count);
  execFileSync('python3', [path.join(here, 'make_events.py'), runs, String(count)]);
  const names = execFileSync('ls', ['-v', runs], { encoding: 'utf8' }).trim().split('\n');
  return names.map((name) => path.join(runs, name));
}

export function report(...words) {
  return execFileSync(program, ['report', ...words], { encoding: 'utf8', maxBuffer: 1 << 28 });
}

/** The events of a file. */
export function eventsOf(file) {
  return readFileSync(file, 'utf8').trim().split('\n').map((line) => JSON.parse(line));
}

export function checksOf(file) {
  return eventsOf(file).filter((event) => event.event === 'check');
}

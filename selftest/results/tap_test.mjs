// tap_test.mjs QUORLE PACKAGES: what tap-parser reads of a TAP report is what the events have.
import assert from 'node:assert/strict';
import { writeFileSync } from 'node:fs';
import path from 'node:path';
import test from 'node:test';
import { checksOf, folder, makeRuns, report, require } from './tools.mjs';

const { Parser } = require('tap-parser');
const expectations = path.join(import.meta.dirname ?? path.dirname(new URL(import.meta.url).pathname), 'expectations.toml');

/** The test points of a report, and how the parser judges all of it. A line that is no TAP fails the test. */
function read(text) {
  const points = [];
  let results;
  const parser = new Parser({ strict: true }, (all) => { results = all; });
  parser.on('assert', (point) => points.push(point));
  parser.on('extra', (line) => assert.fail('no TAP: ' + line));
  const children = [];
  parser.on('child', (child) => {
    const run = { points: [] };
    children.push(run);
    child.on('assert', (point) => run.points.push(point));
    child.on('extra', (line) => assert.fail('no TAP: ' + line));
    child.on('complete', (all) => { run.results = all; });
  });
  parser.end(text);
  return { points, children, results };
}

function compare(points, checks, judge) {
  assert.deepEqual(points.map((point) => point.name.trim()), checks.map((check) => check.id));
  points.forEach((point, i) => {
    const check = checks[i];
    const expected = judge(check);
    assert.equal(point.ok, expected.ok, check.id);
    assert.equal(point.todo, expected.todo ?? false, check.id);
    for (const diagnostic of check.diagnostics) {
      assert.ok(point.diag.details.includes(`${diagnostic.class}: ${diagnostic.text}`), check.id);
    }
  });
}

const isFine = (check) => ['pass', 'warn', 'skipped'].includes(check.verdict);

test('one run is one list of test points', () => {
  const file = makeRuns(4)[2];
  const { points, results } = read(report('--tap', file));
  compare(points, checksOf(file), (check) => ({ ok: isFine(check) }));
  assert.equal(results.ok, false);
  assert.equal(results.plan.end, checksOf(file).length);
});

test('known failures are TODO with their reason, surprise passes are not ok', () => {
  const file = makeRuns(4).find((name) => name.includes('fat'));
  const { points } = read(report('--tap', '--expect', expectations, file));
  compare(points, checksOf(file), (check) => {
    if (check.id.startsWith('CreateSoftLink.')) return { ok: false, todo: 'FAT has no links | #12 \\ <b>' };
    if (check.id === 'Rename.DirectoryLoop') return { ok: check.verdict !== 'pass', todo: false };
    return { ok: isFine(check) };
  });
});

test('several runs are subtests', () => {
  const files = makeRuns(12);
  const { points, children, results } = read(report('--tap', ...files));
  assert.equal(children.length, 12);
  assert.deepEqual(points.map((point) => point.name.trim()), files);
  files.forEach((file, i) => {
    compare(children[i].points, checksOf(file), (check) => ({ ok: isFine(check) }));
    assert.equal(points[i].ok, checksOf(file).every(isFine));
  });
  assert.equal(results.ok, false);
});

test('what is wrong with a run is a test point, and texts of any kind are read back', () => {
  const file = path.join(folder, 'odd #1 \\ .jsonl');
  const odd = 'a: "b" # c \\ \u001b[1m\n--- {[ & * ! | > %@`';
  writeFileSync(file, [
    { event: 'run', version: 1 },
    { event: 'check', id: 'Lock.A', verdict: 'fail', result: 10, diagnostics: [{ class: 'ERROR', text: odd }] },
    { event: 'check', id: 'Lock.A # SKIP not', verdict: 'fail', result: 10 },
    { event: 'check', id: 'Lock.B', verdict: 'skipped', why: 'not # selected' },
    { event: 'left-behind', id: 'Lock.A', object: 'FILE01', code: 202 },
  ].map((event) => JSON.stringify(event) + '\n').join(''));
  const { points } = read(report('--tap', file));
  assert.deepEqual(points.map((point) => point.name.trim()), ['Lock.A', 'Lock.A # SKIP not', 'Lock.B', 'Lock.A left-behind', 'run cut-off']);
  assert.deepEqual(points.map((point) => point.ok), [false, false, true, false, false]);
  assert.equal(points[1].skip, false);
  assert.deepEqual(points[0].diag.details, ['ERROR: a: "b" # c \\ \\x1b[1m\\x0a--- {[ & * ! | > %@`']);
  assert.equal(points[2].skip, 'not # selected');
  assert.equal(points[3].diag.message, 'left behind: "FILE01" (error 202)');
  assert.equal(read(report('--tap', file, file)).children.length, 2);
});

// What becomes of the page when the server or the trace does not stay as it was.

import assert from 'node:assert/strict';
import { randomInt } from 'node:crypto';
import { appendFileSync, copyFileSync, readFileSync, renameSync, truncateSync, writeFileSync } from 'node:fs';
import { after, before, test } from 'node:test';

import { file, launch, leave, open, rest, serve, state, tool } from './house.mjs';

const FLAGS = ['-c', '2', '-d', '2', '-p', '4'];
const LONG = { timeout: 120_000 };
const WHOLE = 30_000; // records
const RECORD = 32; // bytes at most

before(async () => {
  await launch();
  tool('synth', '-o', 'whole.trace', '--records', String(WHOLE), ...FLAGS);
  tool('synth', '-o', 'other.trace', '--records', '5000', '--seed', '9', ...FLAGS);
});

after(() => leave());

async function waitFor(page, is) {
  const end = Date.now() + 60_000;
  for (let now = await state(page); !is(now); now = await state(page)) {
    assert.ok(Date.now() < end, `the page stays at ${JSON.stringify(now)}`);
    await page.waitForTimeout(50);
  }
}

const words = (page) => page.locator('.alert p').textContent();

// A server that comes back needs the port that it had. No connection is given one below 32768 meanwhile.
const port = () => String(randomInt(20_000, 30_000));

test('A server that is gone is told, the picture stays, and all goes on when it is back', LONG, async () => {
  copyFileSync(file('whole.trace'), file('life.trace'));
  const args = [file('life.trace'), ...FLAGS, '--token-file', file('token'), '--port'];
  const first = await serve(...args, port());
  const page = await open(first.link, { hash: 'cycle=60', width: 1000, height: 700 });
  const { step, draws } = await state(page);
  await first.end();
  await waitFor(page, (now) => now.alert === 'lost');
  assert.match(await words(page), /^The server has not answered for \d+ s\. The picture stays as it was\./);
  const command = /start it again: (marrowfin-explorer .*)$/.exec(await words(page))[1];
  assert.ok(command.endsWith(` --port ${new URL(first.link).port}`) && !command.includes('--port 0'), command);
  assert.equal((await state(page)).step, step);
  assert.ok(draws > 0);
  const second = await serve(...command.split(' ').slice(1));
  assert.equal(second.link, first.link);
  await waitFor(page, (now) => now.connection === 'connected');
  await rest(page);
  assert.equal((await state(page)).alert, undefined);
  await page.keyboard.press('ArrowRight');
  await waitFor(page, (now) => now.step === step + 1);
  second.end();
  await page.context().close();
});

test('A trace that is replaced is told, and the new one is opened on request', LONG, async () => {
  copyFileSync(file('whole.trace'), file('replaced.trace'));
  const server = await serve(file('replaced.trace'), ...FLAGS);
  const page = await open(server.link, { hash: 'cycle=60', width: 1000, height: 700 });
  const before = await state(page);
  copyFileSync(file('other.trace'), file('new.trace'));
  renameSync(file('new.trace'), file('replaced.trace'));
  await waitFor(page, (now) => now.alert === 'replaced' || now.alert === 'truncated');
  assert.match(await words(page), /^This is another trace now\. The file (changed|became shorter) at \d\d:\d\d\./);
  await page.getByRole('button', { name: 'Open the new one' }).click();
  await waitFor(page, (now) => now.records === 5000);
  await rest(page);
  assert.notEqual((await state(page)).trace, before.trace);
  assert.equal((await state(page)).alert, undefined);
  server.end();
  await page.context().close();
});

test('A trace that grows is told, and the new records are shown on request', LONG, async () => {
  const bytes = readFileSync(file('whole.trace'));
  const half = Math.floor(bytes.length / 2);
  writeFileSync(file('grown.trace'), bytes.subarray(0, half));
  const server = await serve(file('grown.trace'), ...FLAGS);
  const page = await open(server.link, { hash: 'cycle=60', width: 1000, height: 700 });
  const { records } = await state(page);
  assert.ok(records > 0 && records < WHOLE);
  appendFileSync(file('grown.trace'), bytes.subarray(half));
  await waitFor(page, (now) => now.alert === 'grown' || now.records === WHOLE);
  if ((await state(page)).alert === 'grown') {
    await page.getByRole('button', { name: 'Show them' }).click();
  }
  await waitFor(page, (now) => now.records === WHOLE);
  server.end();
  await page.context().close();
});

test('A trace that becomes shorter is never shown as if nothing had happened', LONG, async () => {
  copyFileSync(file('whole.trace'), file('short.trace'));
  const server = await serve(file('short.trace'), ...FLAGS);
  const page = await open(server.link, { hash: 'cycle=60', width: 1000, height: 700 });
  truncateSync(file('short.trace'), 100 * RECORD);
  await waitFor(page, (now) => now.alert === 'truncated' || now.alert === 'replaced');
  server.end();
  await page.context().close();
});

test('The end of a trace that breaks off is told, with a way to its last step', LONG, async () => {
  const bytes = readFileSync(file('whole.trace'));
  writeFileSync(file('cut.trace'), bytes.subarray(0, Math.floor(bytes.length / 3) + 3));
  const server = await serve(file('cut.trace'), ...FLAGS);
  const page = await open(server.link, { hash: 'cycle=0', width: 1000, height: 700 });
  await waitFor(page, (now) => now.alert === 'broken');
  assert.match(await words(page), /You see everything before it\. Run the simulator to its end to see the rest\.$/);
  await page.getByRole('button', { name: 'Go to last step' }).click();
  await waitFor(page, (now) => now.step > 10);
  server.end();
  await page.context().close();
});

// Several tabs on one server, and several traces in it.

import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { close, file, launch, leave, open as openView, rest, serve, state, tool } from './house.mjs';
import { coloursOf, engineState, follow, waitFor } from './plan.mjs';

const FLAGS = ['-c', '2', '-d', '2', '-p', '4'];
const LONG = { timeout: 120_000 };
const SIDE = 16;

let server;

before(async () => {
  await launch();
  tool('synth', '-o', 'one.trace', '--records', '20000', ...FLAGS);
  tool('synth', '-o', 'other.trace', '--records', '9000', '--seed', '9', ...FLAGS);
  server = await serve(file('one.trace'), file('other.trace'), ...FLAGS);
});

after(() => leave());

const open = (hash) => openView(server.link, { hash, width: 1000, height: 700 });

const viewerAt = (step) => `reading=viewer&step=${step}&layers=s`;

test('Two tabs show two moments of one trace, each its own', LONG, async () => {
  const one = await open(viewerAt(20));
  const two = await open(viewerAt(200));
  for (let i = 0; i < 5; ++i) {
    await Promise.all([one.keyboard.press('ArrowRight'), two.keyboard.press('ArrowLeft')]);
    await waitFor(one, (now) => now.step === 21 + i);
    await waitFor(two, (now) => now.step === 199 - i);
  }
  for (const [page, step] of [[one, 25], [two, 195]]) {
    await rest(page);
    assert.deepEqual(await coloursOf(page, SIDE), engineState('one.trace', '--step', step, ...FLAGS).elements);
  }
  await close(one);
  await close(two);
});

test('One tab plays while the other scrubs, and both show what is so', LONG, async () => {
  const playing = await open('reading=viewer&step=0&layers=s&speed=60');
  const scrubbing = await open(viewerAt(300));
  await playing.keyboard.press('Space');
  await waitFor1(playing, (now) => now.playing);
  for (const step of [10, 250, 90, 400]) {
    await follow(scrubbing, viewerAt(step));
    assert.deepEqual(await coloursOf(scrubbing, SIDE), engineState('one.trace', '--step', step, ...FLAGS).elements);
  }
  await waitFor1(playing, (now) => now.step > 30);
  await playing.keyboard.press('Space');
  await waitFor(playing, (now) => !now.playing);
  const { step } = await state(playing);
  assert.deepEqual(await coloursOf(playing, SIDE), engineState('one.trace', '--step', step, ...FLAGS).elements);
  await close(playing);
  await close(scrubbing);
});

// The page does not rest while it plays.
async function waitFor1(page, is) {
  while (!is(await state(page))) {
    await page.waitForTimeout(20);
  }
}

test('A tab that is closed takes nothing from the other', LONG, async () => {
  const one = await open(viewerAt(20));
  const two = await open(viewerAt(40));
  await close(one);
  await two.keyboard.press('ArrowRight');
  await waitFor(two, (now) => now.step === 41);
  assert.deepEqual(await coloursOf(two, SIDE), engineState('one.trace', '--step', 41, ...FLAGS).elements);
  await close(two);
});

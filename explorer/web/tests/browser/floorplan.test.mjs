// The floorplan in a browser, on the real server: what it shows, against the engine's own answers.

import assert from 'node:assert/strict';
import { after, before, describe, test } from 'node:test';

import { barriers, close, cutOff, file, launch, leave, open as openView, rest, serve, state, tool } from './house.mjs';
import { coloursOf, engineState, follow, spotOf, waitFor } from './plan.mjs';

const FLAGS = ['-c', '2', '-d', '2', '-p', '4'];
const SIDE = 16;
const LONG = { timeout: 120_000 }; // milliseconds: what hangs ends, and no test is about speed

let server;

before(async () => {
  await launch();
  tool('synth', '-o', 'run.trace', '--records', '20000', ...FLAGS);
  server = await serve(file('run.trace'), ...FLAGS);
});

after(() => leave());

/** Until that is selected: what arrow keys do is loaded with the first one. */
const selects = (page, selected) => waitFor(page, (now) => JSON.stringify(now.selected) === JSON.stringify(selected));

const open = (hash, options = {}) => openView(server.link, { hash, width: 1000, height: 700, ...options });

describe('the reading of the viewer', () => {
  test('is entered and left by a key', LONG, async () => {
    const page = await open('cycle=50');
    const { step } = await state(page);
    await page.keyboard.press('v');
    await waitFor(page, (now) => now.reading === 'viewer');
    // A frame of the viewer is drawn when the first event of the next cycle has come.
    assert.ok(Number((await state(page)).cycle) >= 50);
    await page.keyboard.press('v');
    await waitFor(page, (now) => now.reading === 'natural');
    assert.ok(Math.abs((await state(page)).step - step) <= 1);
    await close(page);
  });
});

test('Keys step, and steps lead where jumps lead', LONG, async () => {
  const page = await open('cycle=60&layers=s');
  const { step } = await state(page);
  for (const [key, by] of [
    ['ArrowRight', 1], ['Shift+ArrowRight', 11], ['ArrowLeft', 10], ['Shift+ArrowLeft', 0]]) {
    await page.keyboard.press(key);
    await waitFor(page, (now) => now.step === step + by);
  }
  await rest(page);
  const walked = await coloursOf(page, SIDE);
  await page.keyboard.press('End');
  await waitFor(page, (now) => now.step > step + 20);
  const end = await state(page);
  await page.keyboard.press('ArrowRight');
  await rest(page);
  assert.equal((await state(page)).step, end.step);
  assert.notDeepEqual(await coloursOf(page, SIDE), walked);
  await follow(page, 'cycle=60&layers=s');
  assert.deepEqual(await coloursOf(page, SIDE), walked);
  await page.keyboard.press('Home');
  await waitFor(page, (now) => now.step <= 1);
  await close(page);
});

test('Playing goes on until the end and stops there without a word', LONG, async () => {
  const page = await open('cycle=0&speed=240');
  await page.keyboard.press('Space');
  await waitFor(page, (now) => now.playing);
  await waitFor(page, (now) => now.step > 20);
  await page.keyboard.press('Space');
  await waitFor(page, (now) => !now.playing);
  await page.keyboard.press('End');
  await rest(page);
  await page.keyboard.press('ArrowLeft');
  await rest(page);
  await page.keyboard.press('Space');
  await rest(page);
  await waitFor(page, (now) => !now.playing);
  assert.equal((await state(page)).alert, undefined);
  await close(page);
});

test('A click selects, arrow keys go on from there, and Escape forgets it', LONG, async () => {
  const page = await open('cycle=60');
  const spot = await spotOf(page, 3, 12);
  await page.mouse.click(spot.x, spot.y);
  assert.deepEqual((await state(page)).selected, { piece: { pe: [3, 12] } });
  await page.locator('.floorplan-canvas').last().focus();
  await page.keyboard.press('ArrowRight');
  await page.keyboard.press('ArrowDown');
  await selects(page, { piece: { pe: [4, 11] } });
  assert.match(await page.locator('.floorplan-canvas').last().getAttribute('aria-label'), /PE 4,11 is selected/);
  for (const key of ['Shift+ArrowRight', 'Shift+ArrowRight', 'Shift+ArrowUp', 'Shift+ArrowLeft']) {
    await page.keyboard.press(key);
  }
  await selects(page, { rect: { first: { column: 4, row: 11 }, last: { column: 5, row: 12 } } });
  for (const key of ['Shift+ArrowLeft', 'Shift+ArrowLeft', 'Shift+ArrowLeft']) {
    await page.keyboard.press(key);
  }
  await selects(page, { rect: { first: { column: 2, row: 11 }, last: { column: 4, row: 12 } } });
  const before = await spotOf(page, 3, 3);
  await page.keyboard.press('Control+ArrowRight');
  await page.keyboard.press('Control+ArrowUp');
  await rest(page);
  const panned = await spotOf(page, 3, 3);
  assert.deepEqual([panned.x - before.x, panned.y - before.y], [-64, 64]);
  await page.keyboard.press('Escape');
  assert.equal((await state(page)).selected, undefined);
  await close(page);
});

test('The wheel zooms at the pointer, a drag pans and is no click, 0 fits again', LONG, async () => {
  const page = await open('cycle=60');
  const spot = await spotOf(page, 10, 10);
  await page.mouse.move(spot.x, spot.y);
  await page.mouse.wheel(0, -600);
  await waitFor(page, (now) => now.zoom > 1.5);
  await rest(page);
  const zoomed = await spotOf(page, 10, 10);
  assert.ok(Math.hypot(zoomed.x - spot.x, zoomed.y - spot.y) < 30, 'the element stays under the pointer');
  await page.mouse.down();
  await page.mouse.move(spot.x + 50, spot.y + 20, { steps: 4 });
  await page.mouse.up();
  await rest(page);
  const panned = await spotOf(page, 10, 10);
  assert.ok(Math.abs(panned.x - zoomed.x - 50) < 2 && Math.abs(panned.y - zoomed.y - 20) < 2);
  assert.equal((await state(page)).selected, undefined);
  await page.keyboard.press('0');
  await waitFor(page, (now) => now.zoom === 1);
  await close(page);
});

test('A mesh whose elements are too small is drawn in blocks of them, and each is found in its block', LONG, async () => {
  const flags = ['-c', '1', '-d', '1', '-p', '256'];
  const side = 256;
  tool('synth', '-o', 'mesh.trace', '--records', '20000', ...flags);
  const mesh = await serve(file('mesh.trace'), ...flags);
  const page = await openView(mesh.link, { hash: 'reading=viewer&step=60&layers=s' });
  assert.equal((await state(page)).level, 'block');
  const colours = await coloursOf(page, side);
  const { elements } = engineState('mesh.trace', '--step', 60, ...flags);
  const untouched = engineState('mesh.trace', '--step', 0, ...flags).elements[side - 1][side - 1];
  const seen = new Set();
  for (let row = 0; row < side; row += 2) {
    for (let column = 0; column < side; column += 2) {
      const block = [0, 1].flatMap((up) => elements[row + up].slice(column, column + 2));
      const touched = block.filter((colour) => colour !== untouched);
      const shown = colours[row][column];
      assert.ok(touched.length === 0 ? shown === untouched : touched.includes(shown), `${column},${row}: ${shown} of ${block}`);
      seen.add(shown);
    }
  }
  assert.ok(seen.size > 3, 'several colours are seen');
  const middle = await spotOf(page, 40, 60);
  await page.mouse.click(middle.x - 1, middle.y - 1);
  assert.deepEqual((await state(page)).selected, { piece: { pe: [40, 61] } });
  await page.mouse.click(middle.x + 1, middle.y + 1);
  assert.deepEqual((await state(page)).selected, { piece: { pe: [41, 60] } });
  await page.locator('.floorplan-canvas').last().focus();
  await page.keyboard.press('ArrowRight');
  await selects(page, { piece: { pe: [42, 60] } });
  await page.keyboard.press('v');
  await waitFor(page, (now) => now.reading === 'natural');
  assert.equal((await state(page)).level, 'block');
  assert.match(await page.locator('.rail').textContent(), /Blocks of 2 × 2 PEs/);
  await page.mouse.move(middle.x, middle.y);
  await page.mouse.wheel(0, -600);
  await waitFor(page, (now) => now.level === 'pe');
  await close(page);
});

test('H lays the array out without gaps, and what is shown stays the same', LONG, async () => {
  const page = await open('cycle=60&layers=ms');
  const colours = await coloursOf(page, SIDE);
  const apart = (await spotOf(page, 4, 0)).x - (await spotOf(page, 3, 0)).x;
  const { step } = await state(page);
  await page.keyboard.press('h');
  await rest(page);
  const pitches = new Set();
  for (let column = 1; column < SIDE; ++column) {
    pitches.add((await spotOf(page, column, 0)).x - (await spotOf(page, column - 1, 0)).x);
  }
  assert.equal(pitches.size, 1);
  assert.ok(apart > 1.2 * [...pitches][0], 'there were gaps');
  // Messages and digits lie over some middles at other sizes.
  const flat = await coloursOf(page, SIDE);
  const same = flat.flat().filter((colour, i) => colour === colours.flat()[i]).length;
  assert.ok(same > 0.9 * SIDE * SIDE, `${same} are the same`);
  await page.keyboard.press('End');
  await waitFor(page, (now) => now.step > step);
  assert.equal((await state(page)).alert, undefined);
  await close(page);
});

test('Shift and a drag select a rectangle', LONG, async () => {
  const page = await open('cycle=60');
  const [from, to] = [await spotOf(page, 2, 3), await spotOf(page, 6, 9)];
  await page.keyboard.down('Shift');
  await page.mouse.move(from.x, from.y);
  await page.mouse.down();
  await page.mouse.move(to.x, to.y, { steps: 4 });
  await page.mouse.up();
  await page.keyboard.up('Shift');
  assert.deepEqual((await state(page)).selected, {
    rect: { first: { column: 2, row: 3 }, last: { column: 6, row: 9 } },
  });
  await close(page);
});

test('A lost context is drawn again', LONG, async () => {
  const page = await open('reading=viewer&step=200&layers=s');
  const colours = await coloursOf(page, SIDE);
  const { draws } = await state(page);
  await page.evaluate(async () => {
    const gl = document.querySelector('canvas').getContext('webgl2');
    const lose = gl.getExtension('WEBGL_lose_context');
    const canvas = document.querySelector('canvas');
    const restored = new Promise((resolve) => canvas.addEventListener('webglcontextrestored', resolve));
    const lost = new Promise((resolve) => canvas.addEventListener('webglcontextlost', resolve));
    lose.loseContext();
    await lost;
    // A context is restored at the earliest when its loss has been told to all.
    await new Promise((resolve) => setTimeout(resolve));
    lose.restoreContext();
    await restored;
  });
  await waitFor(page, (now) => now.draws > draws);
  await rest(page);
  assert.deepEqual(await coloursOf(page, SIDE), colours);
  await close(page);
});

test('A link brings a colleague to the same view', LONG, async () => {
  const page = await open('cycle=60&select=pe:4,5&colour=nothing&camera=1.5,4,4&range=100-200');
  await page.keyboard.press('ArrowRight');
  await rest(page);
  const { hash, step, cycle } = await state(page);
  const other = await open(hash.slice(1));
  assert.deepEqual(
    ((now) => [now.hash, now.step, now.cycle])(await state(other)),
    [hash, step, cycle],
  );
  await close(page);
  await close(other);
});

for (const [name, options] of [
  ['light, 1600 wide', { width: 1600, height: 1000 }],
  ['dark, 1280 wide', { width: 1280, height: 720, theme: 'dark' }],
  ['dark, with text of 200 %', { width: 1600, height: 1000, theme: 'dark', text: 200 }],
]) {
  test(`No barrier, nothing cut off and no complaint: ${name}`, LONG, async () => {
    const page = await open('cycle=60&select=pe:4,5&range=100-200', options);
    assert.equal((await state(page)).theme, options.theme ?? 'light');
    assert.deepEqual(await barriers(page), []);
    assert.deepEqual(await cutOff(page), []);
    await close(page);
  });
}

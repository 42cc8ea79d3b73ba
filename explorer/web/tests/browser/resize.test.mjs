// The page in windows of any size, and arrays at any level: what is looked at stays, and nothing is cut off.

import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { barriers, close, cutOff, file, launch, leave, open as openView, rest, serve, state, tool, view } from './house.mjs';
import { boxesOf, coloursAt, coloursOf, engineState, spotOf, waitFor } from './plan.mjs';

const FLAGS = ['-c', '2', '-d', '2', '-p', '4'];
const LARGE = ['-c', '8', '-d', '4', '-p', '4'];
const LONG = { timeout: 120_000 };
const SIZES = [[1600, 1000], [1280, 800], [800, 600], [600, 800], [1600, 1000]];

let server;
let large;

before(async () => {
  await launch();
  tool('synth', '-o', 'run.trace', '--records', '20000', ...FLAGS);
  tool('synth', '-o', 'large.trace', '--records', '60000', ...LARGE);
  server = await serve(file('run.trace'), ...FLAGS);
  large = await serve(file('large.trace'), ...LARGE);
});

after(() => leave());

const open = (hash, options = {}) => openView(server.link, { hash, ...options });

/** The room of the floorplan, and where its first and last element are in it. */
async function seen(page) {
  const room = await page.locator('.floorplan-box').boundingBox();
  const [first, last] = await boxesOf(page, [{ pe: [0, 0] }, { pe: [15, 15] }]);
  return { room, first, last };
}

test('An array that is fitted stays fitted in a window of another size, and the time that is shown stays', LONG, async () => {
  const page = await open('reading=viewer&step=60&window=1000-1999&layers=s', { width: 1440, height: 900 });
  const { elements } = engineState('run.trace', '--step', 60, ...FLAGS);
  for (const [width, height] of SIZES) {
    await page.setViewportSize({ width, height });
    await rest(page);
    const { room, first, last } = await seen(page);
    const size = `${width} x ${height}`;
    assert.ok(first.x >= 0 && first.y + first.height <= room.height, size);
    assert.ok(last.x + last.width <= room.width && last.y >= 0, size);
    const length = last.x + last.width - first.x;
    assert.ok(length > 0.6 * Math.min(room.width, room.height), `${size}: ${length} of ${JSON.stringify(room)}`);
    assert.equal((await state(page)).zoom, 1);
    assert.equal((await view(page)).window, '1000-1999');
    if (length / 16 >= 8) {
      assert.deepEqual(await coloursOf(page, 16), elements, size);
    }
  }
  await close(page);
});

test('What is in the middle of a floorplan that is zoomed stays there', LONG, async () => {
  const page = await open('cycle=60&camera=3,5,9');
  // How far an element is from the middle, in elements.
  const off = async () => {
    const room = await page.locator('.floorplan-box').boundingBox();
    const [one, beside] = [await spotOf(page, 5, 9), await spotOf(page, 6, 9)];
    const pitch = beside.x - one.x;
    return [(one.x - room.x - room.width / 2) / pitch, (one.y - room.y - room.height / 2) / pitch];
  };
  const before = await off();
  for (const [width, height] of SIZES) {
    await page.setViewportSize({ width, height });
    await rest(page);
    const now = await off();
    assert.ok(Math.hypot(now[0] - before[0], now[1] - before[1]) < 0.3, `${width} x ${height}: ${now}, and it was ${before}`);
  }
  await close(page);
});

test('In no size of window or text words are cut off, or anything stands in the way', LONG, async () => {
  for (const text of [100, 200]) {
    const page = await open('cycle=60&select=pe:3,4&range=100-900', { text });
    for (const [width, height] of SIZES.slice(0, 4)) {
      await page.setViewportSize({ width, height });
      await rest(page);
      assert.deepEqual(await cutOff(page), [], `${width} x ${height}, ${text} %`);
      assert.deepEqual(await barriers(page), [], `${width} x ${height}, ${text} %`);
      const rail = await page.locator('.rail').boundingBox();
      const rows = await page.locator('.rail-row').evaluateAll((all) => all.map((row) => row.getBoundingClientRect().bottom));
      if (await page.locator('.rail-row').first().isVisible()) {
        assert.ok(rows.every((bottom) => bottom <= rail.y + rail.height + 0.5), `${width} x ${height}, ${text} %: a layer is out of sight`);
      }
    }
    await close(page);
  }
});

test('Domains and clusters stand for elements that are too small, and are selected as such', LONG, async () => {
  const page = await openView(large.link, { hash: 'cycle=60', width: 1000, height: 700 });
  assert.equal((await state(page)).level, 'domain');
  const spot = await spotOf(page, 37, 70);
  await page.mouse.click(spot.x, spot.y);
  await rest(page);
  assert.deepEqual((await state(page)).selected, { piece: { domain: [9, 17] } });
  await page.mouse.move(5, 5);
  await rest(page);
  const { elements } = engineState('large.trace', '--cycle', 60, ...LARGE);
  const untouched = (column, row) => elements[row][column] === '#cecece';
  const domains = Array.from({ length: 32 * 32 }, (_, i) => [i % 32, Math.floor(i / 32)]).filter(([x]) => x !== 9);
  const isIdle = ([x, y]) => Array.from({ length: 16 }, (_, i) => untouched(4 * x + (i % 4), 4 * y + (i >> 2))).every(Boolean);
  assert.ok(domains.some(isIdle) && !domains.every(isIdle));
  const boxes = await boxesOf(page, domains.map((domain) => ({ domain })));
  const colours = await coloursAt(page, boxes.map(({ x, y, width, height }) => ({ x: x + width / 2, y: y + height / 2 })));
  assert.deepEqual(colours.map((colour) => colour === '#ffffff'), domains.map(isIdle));
  await page.setViewportSize({ width: 660, height: 420 });
  await waitFor(page, (now) => now.level === 'cluster');
  await close(page);
});

test('Playing backward goes to the first step and stops there', LONG, async () => {
  const page = await open('cycle=60');
  const { step } = await state(page);
  await page.getByRole('combobox', { name: 'speed' }).selectOption({ label: '240 steps a second, backward' });
  await page.keyboard.press('Escape');
  await page.keyboard.press('Space');
  await waitFor(page, (now) => now.step < step - 3);
  await waitFor(page, (now) => !now.playing);
  assert.ok((await state(page)).step <= 1);
  assert.equal((await state(page)).alert, undefined);
  await page.keyboard.press('ArrowRight');
  await waitFor(page, (now) => now.step === 2);
  await close(page);
});

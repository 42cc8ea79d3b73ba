// Fingers on the page: a tap, a drag, two of them.

import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { close, file, launch, leave, open as openView, rest, serve, state, tool, view } from './house.mjs';
import { spotOf, waitFor } from './plan.mjs';

const FLAGS = ['-c', '2', '-d', '2', '-p', '4'];
const LONG = { timeout: 120_000 };

let server;

before(async () => {
  await launch();
  tool('synth', '-o', 'run.trace', '--records', '20000', ...FLAGS);
  server = await serve(file('run.trace'), ...FLAGS);
});

after(() => leave());

/** The page under fingers: `down`, `move` and `up` take where they are. */
async function open(hash) {
  const page = await openView(server.link, { hash, width: 1000, height: 700, touch: true });
  const wire = await page.context().newCDPSession(page);
  const send = (type, spots) =>
    wire.send('Input.dispatchTouchEvent', { type, touchPoints: spots.map(({ x, y }, id) => ({ x, y, id })) });
  return {
    page,
    down: (...spots) => send('touchStart', spots),
    move: (...spots) => send('touchMove', spots),
    up: () => send('touchEnd', []),
  };
}

const by = ({ x, y }, dx, dy) => ({ x: x + dx, y: y + dy });

test('A tap selects, and one on another selects that', LONG, async () => {
  const { page } = await open('cycle=60');
  for (const [column, row] of [[3, 12], [10, 4]]) {
    const spot = await spotOf(page, column, row);
    await page.touchscreen.tap(spot.x, spot.y);
    await rest(page);
    assert.deepEqual((await state(page)).selected, { piece: { pe: [column, row] } });
  }
  await close(page);
});

test('A finger pans, which is no tap', LONG, async () => {
  const { page, down, move, up } = await open('cycle=60&camera=2,8,8');
  const from = await spotOf(page, 8, 8);
  await down(from);
  for (let i = 1; i <= 6; ++i) {
    await move(by(from, 10 * i, 5 * i));
  }
  await up();
  await rest(page);
  const now = await spotOf(page, 8, 8);
  assert.ok(Math.abs(now.x - from.x - 60) < 8 && Math.abs(now.y - from.y - 30) < 8, JSON.stringify([from, now]));
  assert.equal((await state(page)).selected, undefined);
  await close(page);
});

test('A finger that rests before it moves draws a rectangle, and on a strip the range', LONG, async () => {
  const { page, down, move, up } = await open('cycle=60&window=1000-1999');
  const [from, to] = [await spotOf(page, 3, 3), await spotOf(page, 6, 5)];
  await down(from);
  await page.waitForTimeout(600);
  for (let i = 1; i <= 4; ++i) {
    await move(by(from, ((to.x - from.x) * i) / 4, ((to.y - from.y) * i) / 4));
  }
  await up();
  await rest(page);
  const { rect } = (await state(page)).selected;
  assert.deepEqual([rect.first, rect.last], [{ column: 3, row: 3 }, { column: 6, row: 5 }]);
  const box = await page.locator('.timeline-area').boundingBox();
  const at = (share) => ({ x: box.x + share * box.width, y: box.y + 90 });
  await down(at(0.2));
  await page.waitForTimeout(600);
  for (let share = 0.25; share <= 0.4; share += 0.05) {
    await move(at(share));
  }
  await move(at(0.4));
  await up();
  await rest(page);
  const now = await view(page);
  const [first, last] = now.range.split('-').map(Number);
  assert.ok(Math.abs(first - 1200) <= 25 && Math.abs(last - 1400) <= 25, now.range);
  assert.equal(now.window, '1000-1999');
  await close(page);
});

test('Two fingers zoom about their middle, and select nothing', LONG, async () => {
  const { page, down, move, up } = await open('cycle=60');
  const middle = await spotOf(page, 8, 8);
  const spots = (apart) => [by(middle, -apart, 0), by(middle, apart, 0)];
  await down(...spots(40));
  for (let apart = 50; apart <= 120; apart += 10) {
    await move(...spots(apart));
  }
  await up();
  await waitFor(page, (now) => now.zoom > 2);
  const zoomed = await state(page);
  assert.ok(zoomed.zoom < 4, `three times as far apart zooms thrice, not ${zoomed.zoom} times`);
  const now = await spotOf(page, 8, 8);
  assert.ok(Math.hypot(now.x - middle.x, now.y - middle.y) < 25, 'what was between them stays there');
  assert.equal(zoomed.selected, undefined);
  await down(...spots(120));
  for (let apart = 110; apart >= 40; apart -= 10) {
    await move(...spots(apart));
  }
  await up();
  await waitFor(page, (after) => after.zoom < 1.5);
  await close(page);
});

const spanOf = async (page) => (await view(page)).window.split('-').map(Number);

test('A second finger ends what a finger that rested has begun', LONG, async () => {
  const { page, down, move, up } = await open('cycle=60');
  const from = await spotOf(page, 4, 4);
  await down(from);
  await page.waitForTimeout(600);
  await move(by(from, 30, 0));
  await down(by(from, 30, 0), by(from, 90, 0));
  await move(by(from, 20, 0), by(from, 100, 0));
  await up();
  await rest(page);
  assert.equal((await state(page)).selected, undefined);
  await close(page);
});

test('A finger on the ruler moves the playhead, one on a strip pans, and two zoom', LONG, async () => {
  const { page, down, move, up } = await open('cycle=60&window=1000-1999');
  const box = await page.locator('.timeline-area').boundingBox();
  const at = (share, y) => ({ x: box.x + share * box.width, y: box.y + y });
  await page.touchscreen.tap(at(0.6, 40).x, at(0.6, 40).y);
  await waitFor(page, (now) => Math.abs(Number(now.cycle) - 1600) < 60);
  await down(at(0.5, 90));
  for (let share = 0.48; share > 0.3; share -= 0.02) {
    await move(at(share, 90));
  }
  await move(at(0.3, 90));
  await up();
  await rest(page);
  const [first, last] = await spanOf(page);
  assert.ok(Math.abs(first - 1200) <= 25 && Math.abs(last - 2199) <= 25, `${first} to ${last}`);
  assert.equal((await view(page)).range, undefined);
  await down(at(0.4, 90), at(0.6, 90));
  for (let half = 0.12; half <= 0.2; half += 0.02) {
    await move(at(0.5 - half, 90), at(0.5 + half, 90));
  }
  await up();
  await rest(page);
  const [left, right] = await spanOf(page);
  assert.ok(right - left > 400 && right - left < 620, `half of what was seen, not ${left} to ${right}`);
  await close(page);
});

test('What is pressed is large enough for a finger', LONG, async () => {
  const { page } = await open('cycle=60');
  const small = await page.locator('.transport button').evaluateAll((buttons) =>
    buttons
      .map((button) => [button.getAttribute('aria-label') ?? button.textContent, button.getBoundingClientRect()])
      .filter(([, box]) => box.width > 0 && Math.min(box.width, box.height) < 24)
      .map(([name]) => name),
  );
  assert.deepEqual(small, []);
  await close(page);
});

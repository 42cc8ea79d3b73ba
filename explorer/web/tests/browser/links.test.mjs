import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { close, launch, leave, open, rest, serve, state, synth, torus } from './house.mjs';

let around;
let plain;

/** Messages of which every other one goes around an edge of a mesh of 8 x 8. */
const SENDS = Array.from({ length: 400 }, (_, i) => ({
  cycle: 10 * i,
  thread: i % 3,
  from: i % 2 === 0 ? [7, 3] : [2, 2],
  to: i % 2 === 0 ? [0, 3] : [3, 2],
}));

before(async () => {
  await launch();
  around = await serve(torus('torus.trace', 8, SENDS));
  plain = await serve(synth('run.trace', 60_000), '-c', '4', '-d', '2', '-p', '4');
});

after(() => leave());

const canvasBox = (page) => page.locator('.floorplan-box').boundingBox();

test('A link around the edge is an arc at both ends, which is picked and named by where it ends', async () => {
  const page = await open(around.link, { hash: 'cycle=200&layers=l&colour=nothing' });
  const link = await page.evaluate(() => window.explorer.boxOf({ link: [7, 3, 'right'] }));
  const last = await page.evaluate(() => window.explorer.boxOf({ pe: [7, 3] }));
  const first = await page.evaluate(() => window.explorer.boxOf({ pe: [0, 3] }));
  assert.ok(link.x + link.width > last.x + 1.1 * last.width, 'it leaves the array');
  const box = await canvasBox(page);
  // Along the middle of the quarter of an ellipse, and where it comes back at the other edge.
  const spots = [
    [link.x + 0.7 * link.width, link.y + 0.32 * link.height],
    [first.x - 0.25 * first.width, last.y + last.height / 2 + 0.08 * last.height],
  ];
  for (const [x, y] of spots) {
    await page.keyboard.press('Escape');
    await page.mouse.click(box.x + x, box.y + y);
    await rest(page);
    assert.deepEqual((await state(page)).selected, { piece: { link: [7, 3, 'right'] } });
  }
  assert.equal(await page.getByRole('tabpanel').getByRole('heading').first().textContent(), 'Link 7,3 → 0,3');
  assert.ok(await page.getByText('7,3 → 0,3').first().isVisible());
  await close(page);
});

test('The fullest link is found by its command', async () => {
  const page = await open(around.link, { hash: 'cycle=200&layers=l&colour=nothing' });
  await page.keyboard.press('Control+Shift+P');
  await page.getByRole('dialog').getByRole('combobox').fill('>fullest');
  await page.keyboard.press('Enter');
  await rest(page);
  const { selected } = await state(page);
  assert.ok(['0,3', '2,2', '7,3'].includes(selected.piece.link.slice(0, 2).join(',')), JSON.stringify(selected));
  await close(page);
});

test('What is pointed at is told within the window, also at its edges', async () => {
  const page = await open(plain.link, { hash: 'cycle=800&camera=6,16,16', width: 800, height: 600 });
  const box = await canvasBox(page);
  const tip = page.getByRole('tooltip');
  for (const [right, low] of [[1, 1], [1, 0], [0, 1], [0, 0]]) {
    let seen = 0;
    for (let off = 4; off < 90 && seen < 3; off += 4) {
      const [x, y] = [box.x + (right ? box.width - off : off), box.y + (low ? box.height - off : off)];
      await page.mouse.move(x, y);
      await page.waitForTimeout(60);
      const at = (await tip.count()) === 0 ? null : await tip.boundingBox();
      if (at !== null) {
        seen += 1;
        assert.ok(at.x >= 0 && at.y >= 0 && at.x + at.width <= 800 && at.y + at.height <= 600, JSON.stringify(at));
        assert.ok(x < at.x || x > at.x + at.width || y < at.y || y > at.y + at.height, 'it lies under the pointer');
      }
    }
    assert.ok(seen > 0, `nothing is told at ${right} ${low}`);
  }
  await close(page);
});

test('Who looks how the viewer shows a cycle, and comes back, is where he was', async () => {
  const page = await open(plain.link, { hash: 'cycle=803' });
  const before = await state(page);
  for (let i = 0; i < 3; ++i) {
    await page.keyboard.press('v');
    await rest(page);
    const there = await state(page);
    assert.equal(there.reading, 'viewer');
    assert.notEqual(there.cycle, before.cycle, 'the viewer has no step that ends there');
    await page.keyboard.press('v');
    await rest(page);
    const now = await state(page);
    assert.deepEqual([now.reading, now.cycle, now.step], ['natural', before.cycle, before.step]);
  }
  await close(page);
});

import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { barriers, close, launch, leave, open, rest, serve, state, synth, view } from './house.mjs';

let server;

before(async () => {
  await launch();
  server = await serve(synth('run.trace'), '-c', '4', '-d', '2', '-p', '4');
});

after(() => leave());

const OVERVIEW = 15; // pixels from the top of the strips
const RULER = 40;
const STRIP = 90;
const QUIET = 60; // cycles: in a quiet part of the trace the last moment may lie that far back

/** The strips, the cycles that they show, and how to point at one. */
async function strips(page) {
  const box = await page.locator('.timeline-area').boundingBox();
  const fields = await view(page);
  const { first: start, last } = await bounds(page);
  const [from, to] = (fields.window ?? `${start}-${last}`).split('-').map(Number);
  const span = to - from + 1;
  return {
    box,
    from,
    to,
    whole: { first: start, last },
    x: (cycle) => box.x + ((cycle - from + 0.5) / span) * box.width,
    overviewX: (cycle) => box.x + ((cycle - start) / (last - start + 1)) * box.width,
    y: (offset) => box.y + offset,
  };
}

/** The first and the last cycle of the trace, as the gutter tells them. */
async function bounds(page) {
  const text = await page.locator('.gutter-row.overview .gutter-sub').textContent();
  const [first, last] = text.split('–').map((part) => Number(part.replaceAll(',', '')));
  return { first, last };
}

async function drag(page, from, to, y) {
  await page.mouse.move(from, y);
  await page.mouse.down();
  await page.mouse.move((from + to) / 2, y, { steps: 4 });
  await page.mouse.move(to, y, { steps: 4 });
  await page.mouse.up();
  await rest(page);
}

const near = (value, wanted, reach, what) =>
  assert.ok(Math.abs(value - wanted) <= reach, `${what}: ${value} is not ${wanted} give or take ${reach}`);

const spanOf = (text) => text.split('-').map(Number);

test('A click on the ruler moves the playhead there, and a drag scrubs', async () => {
  const page = await open(server.link, { hash: 'window=1000-1999' });
  const at = await strips(page);
  await page.mouse.click(at.x(1500), at.y(RULER));
  await rest(page);
  near(Number((await state(page)).cycle), 1500, QUIET, 'cycle');
  await drag(page, at.x(1200), at.x(1800), at.y(RULER));
  near(Number((await state(page)).cycle), 1800, QUIET, 'cycle');
  await close(page);
});

test('A click on a strip moves the playhead, a drag selects a range, and its edges adjust', async () => {
  const page = await open(server.link, { hash: 'window=1000-1999' });
  const at = await strips(page);
  await page.mouse.click(at.x(1300), at.y(STRIP));
  await rest(page);
  near(Number((await state(page)).cycle), 1300, QUIET, 'cycle');
  assert.equal((await view(page)).range, undefined);
  await drag(page, at.x(1400), at.x(1600), at.y(STRIP));
  const [first, last] = spanOf((await view(page)).range);
  near(first, 1400, 2, 'first');
  near(last, 1600, 2, 'last');
  await drag(page, at.x(last) + 1, at.x(1700), at.y(STRIP));
  assert.equal(spanOf((await view(page)).range)[0], first);
  near(spanOf((await view(page)).range)[1], 1700, 2, 'last');
  await drag(page, at.x(first), at.x(1900), at.y(RULER));
  near(spanOf((await view(page)).range)[0], 1700, 2, 'first, dragged over the last');
  await close(page);
});

test('An edge snaps to the playhead, and with Alt it does not', async () => {
  const page = await open(server.link, { hash: 'cycle=5000&window=1-10000' });
  const at = await strips(page);
  const { cycle } = await state(page);
  await drag(page, at.x(2000), at.x(Number(cycle)) + 4, at.y(STRIP));
  assert.ok([`${cycle}`, `${cycle - 1}`].includes((await view(page)).range.split('-')[1]));
  await page.keyboard.down('Alt');
  await drag(page, at.x(2500), at.x(Number(cycle)) + 4, at.y(STRIP));
  await page.keyboard.up('Alt');
  assert.ok(Number((await view(page)).range.split('-')[1]) > Number(cycle) + 5);
  await close(page);
});

test('Ctrl and the wheel zoom at the pointer, Shift and the wheel pan', async () => {
  const page = await open(server.link, { hash: 'window=1000-1999' });
  const at = await strips(page);
  await page.mouse.move(at.x(1250), at.y(STRIP));
  await page.keyboard.down('Control');
  await page.mouse.wheel(0, -400);
  await page.keyboard.up('Control');
  await rest(page);
  const zoomed = await strips(page);
  assert.ok(zoomed.to - zoomed.from < 600);
  near(zoomed.x(1250), at.x(1250), 3, 'the cycle under the pointer');
  await page.waitForTimeout(100);
  await page.keyboard.down('Shift');
  await page.mouse.wheel(0, 200);
  await page.keyboard.up('Shift');
  await rest(page);
  const panned = await strips(page);
  assert.ok(panned.from > zoomed.from);
  near(panned.to - panned.from, zoomed.to - zoomed.from, 1, 'span');
  await close(page);
});

test('Shift and a drag pan, and the cycle stays under the hand', async () => {
  const page = await open(server.link, { hash: 'window=2000-2999' });
  const at = await strips(page);
  await page.keyboard.down('Shift');
  await drag(page, at.x(2500), at.x(2300), at.y(STRIP));
  await page.keyboard.up('Shift');
  near((await strips(page)).from, 2200, 3, 'first cycle');
  assert.equal((await view(page)).range, undefined);
  await close(page);
});

test('The frame of the overview is drawn anew, moved and resized', async () => {
  const page = await open(server.link, { hash: 'window=1000-1999' });
  const at = await strips(page);
  const y = at.y(OVERVIEW);
  const { last } = at.whole;
  await drag(page, at.overviewX(last * 0.5), at.overviewX(last * 0.75), y);
  const drawn = await strips(page);
  near(drawn.from, last * 0.5, last / 200, 'first of a new window');
  near(drawn.to, last * 0.75, last / 200, 'last of a new window');
  await drag(page, at.overviewX(last * 0.6), at.overviewX(last * 0.5), y);
  near((await strips(page)).from, last * 0.4, last / 200, 'first of the moved window');
  const moved = await strips(page);
  await drag(page, at.overviewX(moved.to + 1), at.overviewX(last * 0.8), y);
  const resized = await strips(page);
  near(resized.from, moved.from, last / 200, 'first of the resized window');
  near(resized.to, last * 0.8, last / 200, 'last of the resized window');
  await page.mouse.click(at.overviewX(last * 0.1), y);
  await rest(page);
  assert.ok((await strips(page)).from < last * 0.1);
  await page.mouse.dblclick(at.overviewX(last * 0.1), y);
  await rest(page);
  assert.equal((await view(page)).window, undefined);
  await close(page);
});

test('W and S zoom at the pointer, A and D pan', async () => {
  const page = await open(server.link, { hash: 'window=2000-2999' });
  const at = await strips(page);
  await page.mouse.move(at.x(2700), at.y(STRIP));
  await page.keyboard.press('w');
  await rest(page);
  const zoomed = await strips(page);
  assert.ok(zoomed.to - zoomed.from < 700);
  near(zoomed.x(2700), at.x(2700), 3, 'the cycle under the pointer');
  await page.keyboard.press('d');
  await rest(page);
  assert.ok((await strips(page)).from > zoomed.from);
  await page.keyboard.press('a');
  await page.keyboard.press('a');
  await rest(page);
  assert.ok((await strips(page)).from < zoomed.from);
  await page.keyboard.press('s');
  await page.keyboard.press('s');
  await rest(page);
  assert.ok((await strips(page)).to - (await strips(page)).from > 1000);
  await close(page);
});

test('The playhead takes the window with it when it leaves', async () => {
  const page = await open(server.link, { hash: 'cycle=1000&window=900-1100' });
  await page.keyboard.press('End');
  await rest(page);
  const at = await strips(page);
  const cycle = Number((await state(page)).cycle);
  assert.ok(cycle >= at.from && cycle <= at.to, `${cycle} in ${at.from} to ${at.to}`);
  near(at.to - at.from, 200, 1, 'span');
  await close(page);
});

test('A selected unit becomes a lane, the lane selects it, and its pin lets it go', async () => {
  const page = await open(server.link, { hash: 'select=pe:3,7' });
  await page.getByRole('button', { name: 'Pin as a lane' }).click();
  await rest(page);
  assert.equal((await view(page)).lanes, encodeURIComponent('pe:3,7'));
  await page.keyboard.press('Escape');
  assert.equal((await view(page)).select, undefined);
  await page.getByRole('button', { name: 'PE 3,7', exact: true }).click();
  assert.equal((await view(page)).select, 'pe:3,7');
  await page.locator('.gutter-row.lane').hover();
  await page.getByRole('button', { name: 'Unpin PE 3,7' }).click();
  assert.equal((await view(page)).lanes, undefined);
  await close(page);
});

test('The ruler counts steps when asked to, and the strips stay where they are', async () => {
  const page = await open(server.link, { hash: 'window=1000-1999' });
  await page.getByRole('button', { name: 'Cycle', exact: true }).click();
  await page.waitForTimeout(150);
  await rest(page);
  assert.equal(await page.getByRole('button', { name: 'Step', exact: true }).count(), 1);
  assert.equal((await view(page)).window, '1000-1999');
  await close(page);
});

test('The edge of the timeline is dragged and moved by keys', async () => {
  const page = await open(server.link);
  const height = async () => (await page.locator('.timeline').boundingBox()).height;
  const before = await height();
  const { step } = await state(page);
  const edge = page.getByRole('separator', { name: 'Height of the timeline' });
  const box = await edge.boundingBox();
  await page.mouse.move(box.x + 500, box.y + 2);
  await page.mouse.down();
  await page.mouse.move(box.x + 500, box.y - 98, { steps: 4 });
  await page.mouse.up();
  near(await height(), before + 100, 2, 'height');
  await edge.focus();
  await page.keyboard.press('ArrowDown');
  near(await height(), before + 84, 2, 'height');
  await page.keyboard.press('ArrowUp');
  assert.equal((await state(page)).step, step);
  await close(page);
});

test('What time is shown can be heard, and nothing stands in the way', async () => {
  for (const theme of ['light', 'dark']) {
    const page = await open(server.link, { theme, hash: 'cycle=1000&range=900-1100&lanes=pe:3,7&marks=1000:here' });
    const { cycle } = await state(page);
    const words = await page.getByRole('slider', { name: 'Playhead' }).getAttribute('aria-valuetext');
    assert.ok(words.includes(Number(cycle).toLocaleString('en-GB')), words);
    assert.deepEqual(await barriers(page), []);
    await close(page);
  }
});

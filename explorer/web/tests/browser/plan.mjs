// The floorplan as the tests look at it: where pieces are, what colours they have, and ways to moments.

import { execFileSync } from 'node:child_process';

import { file, rest, state } from './house.mjs';

/** Waits for a state of which `is` says that it is the one. */
export async function waitFor(page, is) {
  while (!is(await state(page))) {
    await page.waitForTimeout(20);
  }
  await rest(page);
}

/**
 * Goes to another view by the address, as a link in a mail does. The address is that of the view first:
 * it lags behind by a pause, and an address that stays the same leads nowhere.
 */
export async function follow(page, hash) {
  await page.waitForFunction(() => location.hash === window.explorer.state.hash);
  await page.evaluate((to) => {
    const changed = new Promise((resolve) => window.addEventListener('hashchange', resolve, { once: true }));
    const same = location.hash === `#${to}`;
    location.hash = to;
    return same ? undefined : changed.then(() => undefined);
  }, hash);
  await rest(page);
}

/** Where the middle of an element is on the window. */
export async function spotOf(page, column, row) {
  const canvas = await page.locator('.floorplan-box').boundingBox();
  const box = await page.evaluate((pe) => window.explorer.boxOf({ pe }), [column, row]);
  return { x: canvas.x + box.x + box.width / 2, y: canvas.y + box.y + box.height / 2 };
}

/** The colours in the middles of all elements, row by row, as "#rrggbb". */
export const coloursOf = (page, columns, rows = columns) =>
  page.evaluate(
    ([across, up]) => {
      const canvas = document.querySelector('canvas');
      const gl = canvas.getContext('webgl2');
      const { width, height } = canvas;
      const pixels = new Uint8Array(4 * width * height);
      gl.readPixels(0, 0, width, height, gl.RGBA, gl.UNSIGNED_BYTE, pixels);
      const ratio = window.devicePixelRatio;
      const middle = (from, size) => Math.floor((from + size / 2) * ratio);
      const at = (column, row) => {
        const box = window.explorer.boxOf({ pe: [column, row] });
        const x = middle(box.x, box.width);
        const y = height - 1 - middle(box.y, box.height);
        const channels = [...pixels.subarray(4 * (y * width + x), 4 * (y * width + x) + 3)];
        return `#${channels.map((channel) => channel.toString(16).padStart(2, '0')).join('')}`;
      };
      return Array.from({ length: up }, (_, row) => Array.from({ length: across }, (_, column) => at(column, row)));
    },
    [columns, rows],
  );

/** The colours at spots of the floorplan, in CSS pixels of it, as "#rrggbb". */
export const coloursAt = (page, spots) =>
  page.evaluate((all) => {
    const ratio = window.devicePixelRatio;
    return all.map(({ x, y }) => {
      const channels = window.explorer.colourAt(Math.floor(x * ratio), Math.floor(y * ratio));
      return `#${channels.map((channel) => channel.toString(16).padStart(2, '0')).join('')}`;
    });
  }, spots);

/** Where pieces are drawn, in CSS pixels of the floorplan. */
export const boxesOf = (page, pieces) => page.evaluate((all) => all.map((piece) => window.explorer.boxOf(piece)), pieces);

/** What the trace tool tells of a moment. */
export const engineState = (name, ...words) =>
  JSON.parse(execFileSync(process.env.MARROWFIN_TRACE, ['state', file(name), ...words.map(String), '--json'], { maxBuffer: 1 << 28 }));

/** Numbers that look random and are the same in each run. */
export function* numbers(seed) {
  let last = seed;
  for (;;) {
    last = (last * 1103515245 + 12345) % 2147483648;
    yield last;
  }
}

import { expect, test } from 'vitest';

import { fitPitch, lookOf, zoomedAt, cameraOf, pannedBy } from '../../src/base/camera';
import { Layout, levelAt, middleOf } from '../../src/base/floorplan/layout';
import { columnTable, rowTable, unitAt } from '../../src/base/floorplan/pixelTable';
import type { Shape } from '../../src/base/shape';

const SHAPE: Shape = { clusters: [2, 2], domains: [2, 2], pes: [4, 4] };
const FLAT: Shape = { clusters: [1, 1], domains: [1, 1], pes: [8, 4] };
const STAGE = { width: 600, height: 500, ratio: 1, margin: 26 };

const layoutOf = (shape: Shape, asViewer = false, stage = STAGE) =>
  new Layout(shape, lookOf(shape, asViewer, stage, undefined));

test.each([
  [SHAPE, false, 1],
  [SHAPE, true, 1],
  [FLAT, false, 1],
  [SHAPE, false, 1.25],
  [SHAPE, true, 2],
])('The pixel in the middle of each cell belongs to it', (shape, asViewer, ratio) => {
  const layout = layoutOf(shape, asViewer, { ...STAGE, ratio });
  const columns = columnTable(layout);
  const rows = rowTable(layout);
  expect(columns.pixels).toBe(600 * ratio);
  for (let row = 0; row < layout.rows.elements; ++row) {
    for (let column = 0; column < layout.columns.elements; ++column) {
      const { x, y } = middleOf(layout.element({ column, row }));
      expect([unitAt(columns, x), unitAt(rows, y)]).toEqual([column, row]);
    }
  }
});

test('Row 0 is at the bottom', () => {
  const layout = layoutOf(SHAPE);
  expect(layout.element({ column: 0, row: 0 }).y).toBeGreaterThan(layout.element({ column: 0, row: 15 }).y);
});

test('Pixels of gaps belong to nothing, and edges of clusters are known', () => {
  const layout = layoutOf(SHAPE);
  const table = columnTable(layout);
  const first = layout.element({ column: 0, row: 0 });
  expect(unitAt(table, first.x + first.width)).toBeUndefined();
  const cluster = layout.cluster({ column: 1, row: 0 });
  const words = table.words.subarray(4 * (table.pixels + cluster.x), 4 * (table.pixels + cluster.x) + 4);
  expect([words[0], words[1], words[3]]).toEqual([1, 1, 0]);
});

test('A fitted array has a whole pitch and lies within the canvas', () => {
  expect(fitPitch(SHAPE, false, STAGE)).toBe(Math.floor(448 / 20.5));
  const { box } = layoutOf(SHAPE);
  expect(box.x).toBeGreaterThan(0);
  expect(box.y).toBeGreaterThan(0);
  expect(box.x + box.width).toBeLessThan(600);
  expect(box.y + box.height).toBeLessThan(500);
});

test('Units that are less than four pixels apart give way to larger ones', () => {
  expect(levelAt(SHAPE, 4)).toBe('pe');
  expect(levelAt(SHAPE, 3.9)).toBe('domain');
  expect(levelAt(SHAPE, 0.9)).toBe('cluster');
});

test('Zooming keeps the spot under the pointer', () => {
  const look = lookOf(SHAPE, false, STAGE, undefined);
  const fit = fitPitch(SHAPE, false, STAGE);
  const spot = { x: 200, y: 300 };
  const before = [(spot.x - look.left) / look.pitch, (look.bottom - spot.y) / look.pitch];
  const camera = zoomedAt(cameraOf(look, fit), look, fit, 1.5, spot);
  const next = lookOf(SHAPE, false, STAGE, camera);
  expect(Math.abs((spot.x - next.left) / next.pitch - before[0]!)).toBeLessThan(0.05);
  expect(Math.abs((next.bottom - spot.y) / next.pitch - before[1]!)).toBeLessThan(0.05);
  expect(Number.isInteger(next.pitch)).toBe(true);
});

test('Panning moves by as many pixels as the hand', () => {
  const look = lookOf(SHAPE, false, STAGE, undefined);
  const fit = fitPitch(SHAPE, false, STAGE);
  const next = lookOf(SHAPE, false, STAGE, pannedBy(cameraOf(look, fit), look, 30, -12));
  expect([next.left - look.left, next.bottom - look.bottom]).toEqual([30, -12]);
});

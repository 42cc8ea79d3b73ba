import { expect, test } from 'vitest';

import { fitPitch, lookOf, zoomedAt, cameraOf, pannedBy } from '../../src/base/camera';
import { Layout, grainAt, middleOf, type Plan } from '../../src/base/floorplan/layout';
import { columnTable, rowTable, unitAt } from '../../src/base/floorplan/pixelTable';
import type { Shape } from '../../src/base/shape';

const SHAPE: Shape = { clusters: [2, 2], domains: [2, 2], pes: [4, 4] };
const FLAT: Shape = { clusters: [1, 1], domains: [1, 1], pes: [8, 4] };
const STAGE = { width: 600, height: 500, ratio: 1, margin: 26 };

const layoutOf = (shape: Shape, plan: Plan = 'natural', stage = STAGE) =>
  new Layout(shape, lookOf(shape, plan, stage, undefined));

test.each([
  [SHAPE, 'natural', 1],
  [SHAPE, 'viewer', 1],
  [SHAPE, 'flat', 1],
  [FLAT, 'natural', 1],
  [SHAPE, 'natural', 1.25],
  [SHAPE, 'viewer', 2],
] as const)('The pixel in the middle of each cell belongs to it', (shape, plan, ratio) => {
  const layout = layoutOf(shape, plan, { ...STAGE, ratio });
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
  expect(fitPitch(SHAPE, 'natural', STAGE)).toBe(Math.floor(448 / 20.5));
  const { box } = layoutOf(SHAPE);
  expect(box.x).toBeGreaterThan(0);
  expect(box.y).toBeGreaterThan(0);
  expect(box.x + box.width).toBeLessThan(600);
  expect(box.y + box.height).toBeLessThan(500);
});

test('Units that are less than four pixels apart give way to larger ones', () => {
  expect(grainAt(SHAPE, 'natural', 4)).toEqual({ of: 'pe', span: [1, 1] });
  expect(grainAt(SHAPE, 'natural', 3.9)).toEqual({ of: 'domain', span: [4, 4] });
  expect(grainAt(SHAPE, 'natural', 0.9)).toEqual({ of: 'cluster', span: [8, 8] });
});

test('A mesh gives way to the smallest blocks that are four pixels apart', () => {
  expect(grainAt(FLAT, 'natural', 4)).toEqual({ of: 'pe', span: [1, 1] });
  expect(grainAt(FLAT, 'natural', 3.9)).toEqual({ of: 'block', span: [2, 2] });
  expect(grainAt(FLAT, 'natural', 2)).toEqual({ of: 'block', span: [2, 2] });
  expect(grainAt(FLAT, 'natural', 0.9)).toEqual({ of: 'block', span: [8, 8] });
  expect(grainAt(SHAPE, 'flat', 3.9)).toEqual({ of: 'block', span: [2, 2] });
});

test.each(['natural', 'viewer'] as const)('Blocks cover a mesh of which no side is a multiple of theirs', (plan) => {
  const mesh: Shape = { clusters: [1, 1], domains: [1, 1], pes: [301, 203] };
  const layout = layoutOf(mesh, plan);
  expect(layout.grain).toEqual({ of: 'block', span: [4, 4] });
  const last = layout.unit({ column: 75, row: 50 });
  expect(last.x + last.width).toBe(layout.element({ column: 300, row: 202 }).x + layout.element({ column: 300, row: 202 }).width);
  expect(last.y).toBe(layout.element({ column: 300, row: 202 }).y);
  const columns = columnTable(layout);
  const rows = rowTable(layout);
  for (let number = 0; number <= 50; ++number) {
    const { x, y } = middleOf(layout.unit({ column: number, row: number }));
    expect([unitAt(columns, x), unitAt(rows, y)]).toEqual([number, number]);
  }
});

test('An array that is laid out flat has no gaps, and clusters keep their elements', () => {
  const layout = layoutOf(SHAPE, 'flat');
  const { pitch } = layout.look;
  for (let column = 1; column < 16; ++column) {
    expect(layout.element({ column, row: 0 }).x - layout.element({ column: column - 1, row: 0 }).x).toBe(pitch);
  }
  expect(layout.box.width).toBe(16 * pitch);
  const { x, y, width, height } = layout.cluster({ column: 1, row: 0 });
  expect([x, y, width, height]).toEqual([
    layout.element({ column: 8, row: 0 }).x, layout.element({ column: 8, row: 7 }).y - layout.gap, 8 * pitch, 8 * pitch]);
  expect(layout.switchMiddle({ column: 1, row: 0 }).x).toBe(x + 4 * pitch - layout.gap / 2);
});

test('A layout is the same as long as shape and look are', () => {
  const look = lookOf(SHAPE, 'natural', STAGE, undefined);
  const layout = new Layout(SHAPE, look);
  expect(layout.equals(new Layout(SHAPE, { ...look }))).toBe(true);
  expect(layout.equals(new Layout(SHAPE, { ...look, left: look.left + 1 }))).toBe(false);
  expect(layout.equals(new Layout(SHAPE, { ...look, plan: 'flat' }))).toBe(false);
  expect(layout.equals(new Layout({ ...SHAPE }, look))).toBe(false);
});

test('Zooming keeps the spot under the pointer', () => {
  const look = lookOf(SHAPE, 'natural', STAGE, undefined);
  const fit = fitPitch(SHAPE, 'natural', STAGE);
  const spot = { x: 200, y: 300 };
  const before = [(spot.x - look.left) / look.pitch, (look.bottom - spot.y) / look.pitch];
  const camera = zoomedAt(cameraOf(look, fit), look, fit, 1.5, spot);
  const next = lookOf(SHAPE, 'natural', STAGE, camera);
  expect(Math.abs((spot.x - next.left) / next.pitch - before[0]!)).toBeLessThan(0.05);
  expect(Math.abs((next.bottom - spot.y) / next.pitch - before[1]!)).toBeLessThan(0.05);
  expect(Number.isInteger(next.pitch)).toBe(true);
});

test('Panning moves by as many pixels as the hand', () => {
  const look = lookOf(SHAPE, 'natural', STAGE, undefined);
  const fit = fitPitch(SHAPE, 'natural', STAGE);
  const next = lookOf(SHAPE, 'natural', STAGE, pannedBy(cameraOf(look, fit), look, 30, -12));
  expect([next.left - look.left, next.bottom - look.bottom]).toEqual([30, -12]);
});

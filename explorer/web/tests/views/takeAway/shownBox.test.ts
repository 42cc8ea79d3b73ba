import { expect, test } from 'vitest';

import { Layout } from '../../../src/base/floorplan/layout';
import { barsOf, meshPlace, type LinkLoads } from '../../../src/gl/linkShapes';
import { shownBox } from '../../../src/views/takeAway/viewPicture';

const SHAPE = { clusters: [1, 1], domains: [1, 1], pes: [4, 4] } as const;
const layout = new Layout(SHAPE, { plan: 'natural', pitch: 40, width: 600, height: 500, left: 200, bottom: 350, ratio: 1 });

const loads = (wrap: boolean): LinkLoads => ({
  columns: 4,
  rows: 4,
  of: 'elements',
  loads: { right: new Float64Array(16), left: new Float64Array(16), up: new Float64Array(16), down: new Float64Array(16) },
  end: 1,
  wrapColumns: wrap,
  wrapRows: wrap,
});

const linksOf = (wrap: boolean) => {
  const own = loads(wrap);
  const place = meshPlace(layout, own.of);
  return { loads: own, place, bars: barsOf(own, place, 1) };
};

test('A picture has the array with the numbers around it, and not all of an empty canvas', () => {
  const box = shownBox(layout, 1, undefined);
  expect(box.x).toBeLessThan(layout.box.x - 30);
  expect(box.y + box.height).toBeGreaterThan(layout.box.y + layout.box.height + 25);
  expect(box.width).toBeLessThan(300);
});

test('It has the arcs of links that go around the edge as well', () => {
  const links = linksOf(true);
  const box = shownBox(layout, 1, links);
  for (const { line, half } of links.bars) {
    const [x1, y1, x2, y2] = line;
    expect(Math.min(x1, x2) - half).toBeGreaterThan(box.x);
    expect(Math.max(x1, x2) + half).toBeLessThan(box.x + box.width);
    expect(Math.min(y1, y2) - half).toBeGreaterThan(box.y);
    expect(Math.max(y1, y2) + half).toBeLessThan(box.y + box.height);
  }
  expect(shownBox(layout, 1, linksOf(false)).width).toBeLessThan(box.width);
});

test('What is not on the canvas is not in the picture', () => {
  const near = new Layout(SHAPE, { ...layout.look, pitch: 400, left: -300, bottom: 900 });
  expect(shownBox(near, 1, undefined)).toEqual({ x: 0, y: 0, width: 600, height: 500 });
});

import { expect, test } from 'vitest';

import { lookOf } from '../../src/base/camera';
import { Layout } from '../../src/base/floorplan/layout';
import type { MessageList } from '../../src/base/picture';
import type { Shape } from '../../src/base/shape';
import { barsOf, barWidth, endOfLink, meshPlace, type LinkLoads } from '../../src/gl/linkShapes';
import { addMessages, coverOf, strengthAt } from '../../src/gl/messageShapes';
import { WEDGE_WORDS, WedgeList } from '../../src/gl/wedges';

const MESH: Shape = { clusters: [1, 1], domains: [1, 1], pes: [4, 4] };
const at = (width: number) =>
  new Layout(MESH, lookOf(MESH, 'natural', { width, height: width, ratio: 1, margin: 0 }, undefined));

const message = (from: [number, number], to: [number, number], age: number): MessageList => ({
  record: Float64Array.of(1),
  age: Uint8Array.of(age),
  thread: Uint32Array.of(0),
  from: Uint32Array.from(from),
  to: Uint32Array.from(to),
});

const wedges = (layout: Layout, list: MessageList): number[][] => {
  const wedgeList = new WedgeList();
  addMessages(wedgeList, layout, list, [0, 0, 0], 1);
  return Array.from({ length: wedgeList.count }, (_, i) => [
    ...wedgeList.data.subarray(i * WEDGE_WORDS, (i + 1) * WEDGE_WORDS),
  ]);
};

test('A new message is a wedge from sender to receiver with a head', () => {
  const layout = at(60); // a pitch of 15
  const [wedge] = wedges(layout, message([0, 0], [3, 0], 0));
  const from = layout.middle({ column: 0, row: 0 });
  const to = layout.middle({ column: 3, row: 0 });
  expect(wedge?.slice(0, 4)).toEqual([from.x, from.y, to.x, to.y]);
  expect(wedge?.[4]).toBeCloseTo(1.8);
  expect(wedge?.[6]).toBeCloseTo(6);
  expect(wedge?.[13]).toBe(1);
});

test('An older one is weaker and has no head, but on large cells', () => {
  expect(wedges(at(60), message([0, 0], [3, 0], 2))[0]?.[6]).toBe(0);
  expect(wedges(at(60), message([0, 0], [3, 0], 2))[0]?.[13]).toBeCloseTo(strengthAt(2));
  expect(wedges(at(200), message([0, 0], [3, 0], 2))[0]?.[6]).toBeCloseTo(6);
});

test('On large cells it ends at their edges, so that digits stay free', () => {
  const layout = at(200);
  const [wedge] = wedges(layout, message([0, 0], [3, 0], 0));
  const cell = layout.element({ column: 0, row: 0 });
  expect(wedge?.[0]).toBeCloseTo(cell.x + cell.width);
});

test('On small cells it is a line of one pixel', () => {
  const [line] = wedges(at(20), message([0, 0], [3, 0], 0));
  expect(line?.slice(4, 10)).toEqual([0.5, 0.5, 0, 0, 0, 0]);
});

test('A message to oneself is not drawn', () => {
  expect(wedges(at(60), message([1, 1], [1, 1], 0))).toEqual([]);
});

test('Messages cover more where they are longer', () => {
  const layout = at(60);
  const short = coverOf(layout, message([0, 0], [1, 0], 1));
  expect(coverOf(layout, message([0, 0], [3, 0], 1))).toBeCloseTo(3 * short);
});

const links = (wrap: boolean): LinkLoads => ({
  columns: 4,
  rows: 4,
  of: 'elements',
  loads: {
    right: new Float64Array(16).fill(0.1),
    left: new Float64Array(16).fill(0.5),
    up: new Float64Array(16),
    down: new Float64Array(16),
  },
  end: 0.5,
  wrapColumns: wrap,
  wrapRows: false,
});

test('A mesh has two directions a link, and the fullest are drawn last', () => {
  const layout = at(240);
  const bars = barsOf(links(false), meshPlace(layout, 'elements'), 1);
  expect(bars.length).toBe(2 * 2 * 4 * 3);
  expect(bars[bars.length - 1]?.way).toBe('left');
});

test('Both directions keep right', () => {
  const layout = at(240);
  const bars = barsOf(links(false), meshPlace(layout, 'elements'), 1);
  const there = bars.find(({ node, way }) => way === 'right' && node.column === 0 && node.row === 0);
  const back = bars.find(({ node, way }) => way === 'left' && node.column === 1 && node.row === 0);
  const middle = layout.middle({ column: 0, row: 0 }).y;
  expect(there?.line[1]).toBeGreaterThan(middle); // travelling right, the right side is below
  expect(back?.line[1]).toBeLessThan(middle);
});

test('Links around the edge are shown half at each end', () => {
  const bars = barsOf(links(true), meshPlace(at(240), 'elements'), 1);
  const arcs = bars.filter(({ arc }) => arc !== undefined);
  expect(bars.length - arcs.length).toBe(2 * 2 * 4 * 3);
  expect(arcs.length).toBe(2 * 2 * 4); // both directions of each row, both ends of each
  expect(arcs.filter(({ arc }) => arc?.arrives === true).length).toBe(2 * 4);
});

test('The arc of a link leaves the array bent to its own right side, and comes back at the other edge', () => {
  const layout = at(240);
  const place = meshPlace(layout, 'elements');
  const arcs = barsOf(links(true), place, 1).filter(
    ({ arc, node, way }) => arc !== undefined && way === 'right' && node.row === 0,
  );
  const leaves = arcs.find(({ arc }) => arc?.arrives === false)?.arc?.corners ?? [];
  const arrives = arcs.find(({ arc }) => arc?.arrives === true)?.arc?.corners ?? [];
  const [last, first] = [layout.middle({ column: 3, row: 0 }), layout.middle({ column: 0, row: 0 })];
  const out = leaves[leaves.length - 1];
  expect(out?.x).toBeCloseTo(last.x + place.half + 2 + 0.6 * place.pitch[0]);
  expect(out?.y).toBeGreaterThan(last.y + 0.3 * place.pitch[1]);
  const end = arrives[arrives.length - 1];
  expect(end?.x).toBeCloseTo(first.x - place.half - 2);
  expect(arrives[0]?.x).toBeCloseTo(first.x - place.half - 2 - 0.6 * place.pitch[0]);
  expect(endOfLink({ columns: 4, rows: 4 }, { column: 3, row: 0 }, 'right')).toEqual({ column: 0, row: 0 });
  expect(endOfLink({ columns: 4, rows: 4 }, { column: 1, row: 0 }, 'down')).toEqual({ column: 1, row: 3 });
});

test('Fuller bars are wider, and all are thinner where there is no room', () => {
  expect(barWidth(1, 60)).toBeCloseTo(10.5);
  expect(barWidth(2, 60)).toBeCloseTo(10.5);
  expect(barWidth(0, 60)).toBeCloseTo(1.5);
  expect(barWidth(1, 20)).toBeCloseTo(4.2);
});

test('Links of clusters that are not square end at the next switch along and above', () => {
  const shape: Shape = { clusters: [2, 2], domains: [1, 1], pes: [8, 2] };
  const look = { plan: 'natural', pitch: 20, width: 800, height: 400, left: 0, bottom: 400, ratio: 1 } as const;
  const place = meshPlace(new Layout(shape, look), 'clusters');
  const own = { columns: 2, rows: 2, of: 'clusters' as const, end: 1, wrapColumns: false, wrapRows: false };
  const one = new Float64Array(4).fill(1);
  const bars = barsOf({ ...own, loads: { right: one, left: one, up: one, down: one } }, place, 1);
  const from = place.middle({ column: 0, row: 0 });
  for (const [way, node] of [['right', { column: 1, row: 0 }], ['up', { column: 0, row: 1 }]] as const) {
    const bar = bars.find((each) => each.way === way && each.node.column === 0 && each.node.row === 0);
    const to = place.middle(node);
    const [x, y] = [bar?.line[2] ?? 0, bar?.line[3] ?? 0];
    const short = place.half + 2;
    expect(way === 'right' ? to.x - x : y - to.y).toBeCloseTo(short);
    expect(Math.hypot(to.x - from.x, to.y - from.y)).toBeGreaterThan(40);
  }
  expect(place.pitch[0]).toBeGreaterThan(2 * place.pitch[1]);
});

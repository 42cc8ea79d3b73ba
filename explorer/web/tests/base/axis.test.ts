import { expect, test } from 'vitest';

import { Halves, NaturalAxis, ViewerAxis } from '../../src/base/floorplan/axis';

const starts = (count: number, at: (i: number) => number) => Array.from({ length: count }, (_, i) => at(i));

test('Domains stand half an element apart, a whole one at the cross, and clusters have frames', () => {
  const halves = new Halves(2, 2, 4, 'framed');
  // Frame, four elements, the cross, four elements.
  expect(starts(8, (i) => halves.element(i))).toEqual([1, 3, 5, 7, 11, 13, 15, 17]);
  expect(halves.clusterLength).toBe(20);
  expect(halves.cluster(1)).toBe(21);
  expect(halves.length).toBe(41);
  expect(halves.switchMiddle(0)).toBe(10);
});

test('An array of one cluster and one domain has neither frame nor gap', () => {
  const halves = new Halves(1, 1, 8, 'inside');
  expect(starts(8, (i) => halves.element(i))).toEqual([0, 2, 4, 6, 8, 10, 12, 14]);
  expect(halves.length).toBe(16);
});

test('Four domains have the cross in their middle', () => {
  const halves = new Halves(1, 4, 2, 'inside');
  expect(starts(4, (i) => halves.domain(i))).toEqual([0, 5, 11, 16]);
});

test('Cells are a pitch apart but for the gap', () => {
  const axis = new NaturalAxis(new Halves(1, 1, 4, 'inside'), 10, 1);
  expect(starts(4, (i) => axis.element(i).start)).toEqual([0, 10, 20, 30]);
  expect(axis.element(2)).toEqual({ start: 20, end: 29 });
});

test('No unit is lost where there is less than a pixel for it', () => {
  const axis = new NaturalAxis(new Halves(1, 1, 64, 'inside'), 0.3, 0);
  for (let i = 0; i < 64; ++i) {
    const { start, end } = axis.element(i);
    expect(end - start).toBeGreaterThanOrEqual(1);
  }
});

test('Elements lie where the viewer draws them', () => {
  // Two domains of two elements: 6 units each, 2 between them, 16 from one domain to the other.
  const axis = new ViewerAxis(2, 2, 2, 1);
  expect(starts(4, (i) => axis.element(i).start - axis.element(0).start)).toEqual([0, 8, 30, 38]);
  expect(axis.element(0)).toEqual({ start: 2, end: 8 });
  // A cluster is 2 * 14 + 4 + 12 units long, and the next one begins 8 further.
  expect(axis.element(4).start - axis.element(0).start).toBe(52);
  // The switch ends 2 units before the second domain and is 10 units long.
  expect(axis.switchStretch(0)).toEqual({ start: 20, end: 30 });
});

test('At a scale that is not whole, a cell covers the pixels whose middles lie in it', () => {
  const axis = new ViewerAxis(1, 1, 2, 1.3);
  // Units 2 to 8 are 2.6 to 10.4 pixels: middles 3.5 to 9.5.
  expect(axis.element(0)).toEqual({ start: 3, end: 10 });
});

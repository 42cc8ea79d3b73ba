import { expect, test } from 'vitest';

import { grainOf, type Grain, type Shape } from '../../src/base/shape';
import { SHARE_LEVELS } from '../../src/gl/cellLooks';
import { busyClusters, heatCodes, scaleEnd, threadCodes, unitSums } from '../../src/gl/unitCodes';

const SHAPE: Shape = { clusters: [2, 1], domains: [1, 1], pes: [2, 2] };
const [PE, DOMAIN, CLUSTER] = [grainOf(SHAPE, 'pe'), grainOf(SHAPE, 'domain'), grainOf(SHAPE, 'cluster')];
// Row 0: thread 0, thread 1 | nothing; row 1: thread 1, thread 1 | nothing. All are fresh.
const ELEMENTS = Uint8Array.of(1, 6, 0, 0, 6, 6, 0, 0);

test('Elements are drawn as they are', () => {
  expect(threadCodes(SHAPE, PE, ELEMENTS).codes).toBe(ELEMENTS);
});

test('A domain shows its most frequent thread, filled by how many of its elements are fresh', () => {
  const { columns, rows, codes } = threadCodes(SHAPE, DOMAIN, ELEMENTS);
  expect([columns, rows]).toEqual([2, 1]);
  expect([...codes]).toEqual([1 + 1 * SHARE_LEVELS + (SHARE_LEVELS - 1), 0]);
});

test('One old element of many is still to be seen', () => {
  const { codes } = threadCodes(SHAPE, CLUSTER, Uint8Array.of(0, 0, 0, 5, 0, 0, 0, 0));
  expect([...codes]).toEqual([0, 1 + Math.round(0.2 * (SHARE_LEVELS - 1))]);
});

test('Numbers of units are those of their elements together', () => {
  const values = Float64Array.of(1, 2, 3, 4, 5, 6, 7, 8);
  expect([...unitSums(SHAPE, DOMAIN, values)]).toEqual([1 + 2 + 5 + 6, 3 + 4 + 7 + 8]);
});

test('Heat ends with the last stop, and nothing is no heat', () => {
  const values = Float64Array.of(0, 10, 20, 1000, 0.1, 5, 0, 0);
  expect([...heatCodes(SHAPE, PE, values, 20).codes]).toEqual([0, 9, 16, 16, 1, 5, 0, 0]);
  // Of domains, the scale ends where most of them do, and is told for each of their elements.
  expect(scaleEnd(SHAPE, DOMAIN, values, 20)).toBeCloseTo(15.1 / 4);
  expect([...heatCodes(SHAPE, DOMAIN, values, 20).codes]).toEqual([16, 16]);
});

test('A cluster in which nothing is drawn is idle', () => {
  const units = threadCodes(SHAPE, DOMAIN, ELEMENTS);
  expect([...busyClusters(SHAPE, DOMAIN, units).codes]).toEqual([1, 0]);
  expect([...busyClusters(SHAPE, PE, threadCodes(SHAPE, PE, ELEMENTS)).codes]).toEqual([1, 1]);
});

// Five columns and three rows in blocks of two: the last column and row of blocks have fewer elements.
const MESH: Shape = { clusters: [1, 1], domains: [1, 1], pes: [5, 3] };
const BLOCKS: Grain = { of: 'block', span: [2, 2] };

test('A mesh is drawn in blocks, of which those at the edge are as full as their own elements', () => {
  const full = SHARE_LEVELS - 1;
  const elements = new Uint8Array(15);
  elements[4] = 1; // two of the lower right block's two
  elements[9] = 1;
  elements[14] = 6; // the upper right one's only
  elements[0] = 1; // one of four
  const { columns, rows, codes } = threadCodes(MESH, BLOCKS, elements);
  expect([columns, rows]).toEqual([3, 2]);
  expect([...codes]).toEqual([1 + Math.round(full / 4), 0, 1 + full, 0, 0, 1 + SHARE_LEVELS + full]);
});

test('Heat of blocks is that of each of their elements', () => {
  const values = new Float64Array(15).fill(8);
  expect([...heatCodes(MESH, BLOCKS, values, 8).codes]).toEqual([16, 16, 16, 16, 16, 16]);
  expect(scaleEnd(MESH, BLOCKS, values, 8)).toBe(8);
  values.fill(0, 0, 2).fill(4, 4, 5); // the lower left block has lost half, the lower right one a quarter
  expect([...heatCodes(MESH, BLOCKS, values, 8).codes]).toEqual([9, 16, 12, 16, 16, 16]);
});

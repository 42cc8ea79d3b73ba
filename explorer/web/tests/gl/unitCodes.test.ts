import { expect, test } from 'vitest';

import type { Shape } from '../../src/base/shape';
import { SHARE_LEVELS } from '../../src/gl/cellLooks';
import { busyClusters, heatCodes, scaleEnd, threadCodes, unitSums } from '../../src/gl/unitCodes';

const SHAPE: Shape = { clusters: [2, 1], domains: [1, 1], pes: [2, 2] };
// Row 0: thread 0, thread 1 | nothing; row 1: thread 1, thread 1 | nothing. All are fresh.
const ELEMENTS = Uint8Array.of(1, 6, 0, 0, 6, 6, 0, 0);

test('Elements are drawn as they are', () => {
  expect(threadCodes(SHAPE, 'pe', ELEMENTS).codes).toBe(ELEMENTS);
});

test('A domain shows its most frequent thread, filled by how many of its elements are fresh', () => {
  const { columns, rows, codes } = threadCodes(SHAPE, 'domain', ELEMENTS);
  expect([columns, rows]).toEqual([2, 1]);
  expect([...codes]).toEqual([1 + 1 * SHARE_LEVELS + (SHARE_LEVELS - 1), 0]);
});

test('One old element of many is still to be seen', () => {
  const { codes } = threadCodes(SHAPE, 'cluster', Uint8Array.of(0, 0, 0, 5, 0, 0, 0, 0));
  expect([...codes]).toEqual([0, 1 + Math.round(0.2 * (SHARE_LEVELS - 1))]);
});

test('Numbers of units are those of their elements together', () => {
  const values = Float64Array.of(1, 2, 3, 4, 5, 6, 7, 8);
  expect([...unitSums(SHAPE, 'domain', values)]).toEqual([1 + 2 + 5 + 6, 3 + 4 + 7 + 8]);
});

test('Heat ends with the last stop, and nothing is no heat', () => {
  const values = Float64Array.of(0, 10, 20, 1000, 0.1, 5, 0, 0);
  expect([...heatCodes(SHAPE, 'pe', values, 20).codes]).toEqual([0, 9, 16, 16, 1, 5, 0, 0]);
  // Of domains, the scale ends where most of them do, and is told for each of their elements.
  expect(scaleEnd(SHAPE, 'domain', values, 20)).toBeCloseTo(15.1 / 4);
  expect([...heatCodes(SHAPE, 'domain', values, 20).codes]).toEqual([16, 16]);
});

test('A cluster in which nothing is drawn is idle', () => {
  const units = threadCodes(SHAPE, 'domain', ELEMENTS);
  expect([...busyClusters(SHAPE, 'domain', units).codes]).toEqual([1, 0]);
  expect([...busyClusters(SHAPE, 'pe', threadCodes(SHAPE, 'pe', ELEMENTS)).codes]).toEqual([1, 1]);
});

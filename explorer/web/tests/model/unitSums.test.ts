import { describe, expect, it } from 'vitest';

import { areaOf, areaSize, ranking, sumIn } from '../../src/model/unitSums';

const SHAPE = { clusters: [2, 1], domains: [1, 2], pes: [2, 1] } as const;
const COUNTS = Float64Array.of(1, 2, 3, 4, 10, 20, 30, 40);

describe('sums over parts of the array', () => {
  it('know the elements of domains and clusters', () => {
    expect(areaOf(SHAPE, 'cluster', [1, 0])).toEqual({ first: { column: 2, row: 0 }, last: { column: 3, row: 1 } });
    expect(areaOf(SHAPE, 'domain', [0, 1])).toEqual({ first: { column: 0, row: 1 }, last: { column: 1, row: 1 } });
    expect(areaSize(areaOf(SHAPE, 'cluster', [0, 0]))).toBe(4);
  });

  it('add up what lies in an area', () => {
    expect(sumIn(SHAPE, COUNTS, areaOf(SHAPE, 'cluster', [1, 0]))).toBe(77);
    expect(sumIn(SHAPE, COUNTS, { first: { column: 1, row: 0 }, last: { column: 1, row: 1 } })).toBe(22);
  });

  it('rank units, the largest first', () => {
    expect(ranking(SHAPE, 'cluster', COUNTS)).toEqual([
      { unit: [1, 0], sum: 77 },
      { unit: [0, 0], sum: 33 },
    ]);
    expect(ranking(SHAPE, 'domain', COUNTS).map(({ sum }) => sum)).toEqual([70, 30, 7, 3]);
  });
});

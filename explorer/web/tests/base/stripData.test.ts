import { describe, expect, it } from 'vitest';

import { binsOf, bucketsOf, placing, visibleBins, widthOf } from '../../src/base/stripData';

const FAR = 1n << 63n;
const view = (start: bigint, span: number) => ({ start, fraction: 0, span });

describe('buckets as the engine gives them', () => {
  const uneven = bucketsOf(BigUint64Array.of(FAR, FAR + 4n, FAR + 6n), FAR + 15n);

  it('may be of different widths', () => {
    expect(binsOf(uneven)).toBe(3);
    expect([0, 1, 2].map((bin) => widthOf(uneven, bin))).toEqual([4, 2, 10]);
  });

  it('are shown from the first that reaches into the window to the last', () => {
    expect(visibleBins(uneven, view(FAR + 4n, 2))).toEqual([1, 2]);
    expect(visibleBins(uneven, view(FAR + 3n, 2))).toEqual([0, 2]);
    expect(visibleBins(uneven, view(FAR + 5n, 2))).toEqual([1, 3]);
    expect(visibleBins(uneven, view(FAR + 20n, 2))).toEqual([3, 3]);
    expect(visibleBins(uneven, view(FAR - 9n, 3))).toEqual([0, 0]);
  });

  it('have their places, however far behind the start', () => {
    expect(placing(uneven, view(FAR - 1n, 10), 100)).toEqual({ start: 10, scale: 10 });
  });

  it('may be none', () => {
    const none = bucketsOf(new BigUint64Array(), 0n);
    expect(binsOf(none)).toBe(0);
    expect(visibleBins(none, view(0n, 5))).toEqual([0, 0]);
  });
});

import { describe, expect, it } from 'vitest';

import {
  MOST_BINS,
  bucketEnd,
  bucketsFor,
  covers,
  levelOf,
  nearEdge,
} from '../../src/base/buckets';
import { panned, windowOf, type TimeWindow } from '../../src/base/timeScale';

const BOUNDS = { first: 0n, last: 999_999n };
const window = (start: bigint, span: number): TimeWindow => ({ start, fraction: 0, span });

describe('buckets of time', () => {
  it('are at least a pixel and less than two wide, but never part of a cycle', () => {
    expect(levelOf(window(0n, 1000), 1000)).toBe(0);
    expect(levelOf(window(0n, 1001), 1000)).toBe(1);
    expect(levelOf(window(0n, 2000), 1000)).toBe(1);
    expect(levelOf(window(0n, 10), 1000)).toBe(0);
    expect(levelOf(window(0n, 1e6), 1000)).toBe(10);
  });

  it('begin at whole buckets, so that panning never moves one', () => {
    for (const start of [500_000n, 500_003n, 500_111n]) {
      const span = bucketsFor(window(start, 64_000), 1000, BOUNDS);
      expect(span.level).toBe(6);
      expect(span.first % 64n).toBe(0n);
    }
  });

  it('reach a screen to either side', () => {
    const span = bucketsFor(window(500_000n, 10_000), 1000, BOUNDS);
    expect(span.first).toBeLessThanOrEqual(490_000n);
    expect(bucketEnd(span)).toBeGreaterThanOrEqual(520_000n);
    expect(span.bins).toBeLessThanOrEqual(3 * 1000);
  });

  it('end with the trace', () => {
    const span = bucketsFor(windowOf(BOUNDS), 1000, BOUNDS);
    expect(span.first).toBe(0n);
    expect(bucketEnd(span) - 1n).toBeGreaterThanOrEqual(BOUNDS.last);
    expect(bucketEnd(span) - BOUNDS.last).toBeLessThanOrEqual(1024n);
  });

  it('are never more than the engine gives at once', () => {
    const span = bucketsFor(window(400_000n, 4000), 4000, BOUNDS);
    expect(span.bins).toBeLessThanOrEqual(MOST_BINS);
    expect(covers(span, window(400_000n, 4000), 4000, BOUNDS)).toBe(true);
  });

  it('cover a window until it leaves them or asks for other ones', () => {
    const at = window(500_000n, 10_000);
    const have = bucketsFor(at, 1000, BOUNDS);
    expect(covers(have, panned(at, 9_990), 1000, BOUNDS)).toBe(true);
    expect(covers(have, panned(at, 10_100), 1000, BOUNDS)).toBe(false);
    expect(covers(have, window(500_000n, 5_000), 1000, BOUNDS)).toBe(false);
  });

  it('are asked for again before a pan reaches their end', () => {
    const at = window(500_000n, 10_000);
    const have = bucketsFor(at, 1000, BOUNDS);
    expect(nearEdge(have, at, BOUNDS)).toBe(false);
    expect(nearEdge(have, panned(at, 7_500), BOUNDS)).toBe(true);
    expect(nearEdge(have, panned(at, -7_500), BOUNDS)).toBe(true);
    const all = bucketsFor(windowOf(BOUNDS), 1000, BOUNDS);
    expect(nearEdge(all, windowOf(BOUNDS), BOUNDS)).toBe(false);
  });

  it('are exact behind cycle 2^63', () => {
    const far = 1n << 63n;
    const bounds = { first: far, last: far + 999n };
    const have = bucketsFor({ start: far + 10n, fraction: 0.5, span: 20 }, 1000, bounds);
    expect(have).toEqual({ first: far, level: 0, bins: 52 });
  });
});

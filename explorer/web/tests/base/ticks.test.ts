import { describe, expect, it } from 'vitest';

import { roundStep, ticksOf } from '../../src/base/ticks';

describe('the ticks of a ruler', () => {
  it('are 1, 2 or 5 times a power of ten apart', () => {
    expect([0.1, 1, 1.5, 3, 5, 7, 11, 21, 99].map(roundStep)).toEqual([
      1n,
      1n,
      2n,
      5n,
      5n,
      10n,
      20n,
      50n,
      100n,
    ]);
  });

  it('stand at round numbers within both ends', () => {
    const { major, minor, step } = ticksOf(1683n, 1996n, 11);
    expect(step).toBe(50n);
    expect(major).toEqual([1700n, 1750n, 1800n, 1850n, 1900n, 1950n]);
    expect(minor[0]).toBe(1690n);
    expect(minor).not.toContain(1700n);
    expect(minor.every((at) => at >= 1683n && at <= 1996n)).toBe(true);
  });

  it('include an end that is round', () => {
    expect(ticksOf(0n, 10n, 11).major).toEqual([0n, 1n, 2n, 3n, 4n, 5n, 6n, 7n, 8n, 9n, 10n]);
  });

  it('have no small ones between neighbours', () => {
    expect(ticksOf(3n, 6n, 10).minor).toEqual([]);
    expect(ticksOf(0n, 4n, 3).minor).toEqual([1n, 3n]);
  });

  it('are exact where numbers are not', () => {
    const far = 1n << 63n;
    expect(ticksOf(far, far + 3n, 10).major).toEqual([far, far + 1n, far + 2n, far + 3n]);
  });

  it('are never more than asked for, and one', () => {
    for (const span of [1n, 7n, 99n, 12345n, 10n ** 15n]) {
      expect(ticksOf(0n, span, 8).major.length).toBeLessThanOrEqual(9);
    }
  });
});

import { describe, expect, it } from 'vitest';

import {
  LEAST_SPAN,
  between,
  cycleAt,
  edgeAt,
  filling,
  panned,
  showing,
  windowOf,
  within,
  xOf,
  zoomed,
} from '../../src/base/timeScale';

const BOUNDS = { first: 0n, last: 9999n };
const FAR = 1n << 63n;

describe('a window of time', () => {
  it('shows every cycle of its bounds, the last one to its end', () => {
    const all = windowOf(BOUNDS);
    expect(xOf(all, 1000, 0n)).toBe(0);
    expect(xOf(all, 1000, 10000n)).toBe(1000);
    expect(cycleAt(all, 1000, 999.95)).toBe(9999n);
  });

  it('finds the cycle under a pixel and the edge nearest to it', () => {
    const window = { start: 10n, fraction: 0.5, span: 10 };
    expect(cycleAt(window, 100, 0)).toBe(10n);
    expect(cycleAt(window, 100, 5)).toBe(11n);
    expect(edgeAt(window, 100, 0)).toBe(11n);
    expect(edgeAt(window, 100, 9)).toBe(11n);
    expect(edgeAt(window, 100, 11)).toBe(12n);
  });

  it('is as exact behind cycle 2^63 as at the start', () => {
    const near = panned({ start: 100n, fraction: 0, span: 7 }, 0.25);
    const far = panned({ start: FAR + 100n, fraction: 0, span: 7 }, 0.25);
    expect(far.fraction).toBe(near.fraction);
    expect(xOf(far, 700, FAR + 103n)).toBe(xOf(near, 700, 103n));
    expect(cycleAt(far, 700, 300) - FAR).toBe(cycleAt(near, 700, 300));
  });

  it('pans over the start of a cycle to either side', () => {
    expect(panned({ start: 5n, fraction: 0.75, span: 4 }, 0.5)).toEqual({
      start: 6n,
      fraction: 0.25,
      span: 4,
    });
    expect(panned({ start: 5n, fraction: 0.25, span: 4 }, -0.5).start).toBe(4n);
  });

  it('leaves the cycle under the pointer in place when it zooms', () => {
    const before = { start: 100n, fraction: 0.25, span: 80 };
    const after = zoomed(before, 0.5, 0.3);
    expect(xOf(after, 1000, 124n)).toBeCloseTo(xOf(before, 1000, 124n) * 2 - 300, 9);
    expect(cycleAt(after, 1000, 300)).toBe(cycleAt(before, 1000, 300));
  });

  it('stays within its bounds, whatever is asked', () => {
    expect(within(panned(windowOf(BOUNDS), 50), BOUNDS)).toEqual(windowOf(BOUNDS));
    const right = within({ start: 9990n, fraction: 0.5, span: 100 }, BOUNDS);
    expect(right).toEqual({ start: 9900n, fraction: 0, span: 100 });
    const left = within({ start: -7n, fraction: 0.5, span: 100 }, BOUNDS);
    expect(left).toEqual({ start: 0n, fraction: 0, span: 100 });
    const wide = within({ start: 50n, fraction: 0, span: 1e9 }, BOUNDS);
    expect(wide).toEqual(windowOf(BOUNDS));
  });

  it('leaves a window alone that is within', () => {
    const window = { start: 50n, fraction: 0.125, span: 33 };
    expect(within(window, BOUNDS)).toEqual(window);
  });

  it('never shows less than a few cycles, but of a shorter trace all', () => {
    expect(within({ start: 50n, fraction: 0, span: 0.1 }, BOUNDS).span).toBe(LEAST_SPAN);
    expect(within({ start: 3n, fraction: 0, span: 0.1 }, { first: 3n, last: 3n }).span).toBe(1);
  });

  it('fills a share with a range, and has the range in its middle', () => {
    const window = filling(1000n, 1079n, 0.8);
    expect(window.span).toBeCloseTo(100);
    expect(xOf(window, 100, 1000n)).toBeCloseTo(10);
    expect(xOf(window, 100, 1080n)).toBeCloseTo(90);
  });

  it('moves only as far as a cycle needs to be seen', () => {
    const window = { start: 100n, fraction: 0, span: 100 };
    expect(showing(window, 150n, 0.1)).toBe(window);
    expect(showing(window, 50n, 0.1).start).toBe(40n);
    expect(showing(window, 300n, 0.1).start).toBe(211n);
  });

  it('flies from one window to the other and arrives', () => {
    const [a, b] = [windowOf(BOUNDS), { start: 500n, fraction: 0.5, span: 20 }];
    expect(xOf(between(a, b, 0), 1, 0n)).toBeCloseTo(0);
    expect(between(a, b, 0).span).toBe(a.span);
    expect(between(a, b, 1)).toBe(b);
    expect(between(a, b, 0.999).span).toBeCloseTo(20, 0);
    expect(between(a, { ...a, start: 10n }, 0.5).start).toBe(5n);
  });
});

import { describe, expect, it } from 'vitest';

import {
  MOST_HEIGHT,
  contentHeight,
  mostTop,
  rowsToDraw,
  scrollOf,
  topAfter,
  topCentred,
  topShowing,
} from '../../src/base/virtualRows';

const SHORT = { rows: 1000, rowHeight: 22, viewHeight: 220 };
const LONG = { rows: 24_000_000, rowHeight: 22, viewHeight: 220 };

describe('a list of any length', () => {
  it('gives each row its pixels while they fit', () => {
    expect(contentHeight(SHORT)).toBe(22_000);
    expect(scrollOf(SHORT, 10)).toBeCloseTo(220);
    expect(topAfter(SHORT, 0, 0, 220)).toBeCloseTo(10);
    expect(topAfter(SHORT, 0, 0, 11_000)).toBeCloseTo(500);
  });

  it('is never higher than a browser can make it', () => {
    expect(contentHeight(LONG)).toBe(MOST_HEIGHT);
    expect(scrollOf(LONG, mostTop(LONG))).toBeCloseTo(MOST_HEIGHT - 220);
  });

  it('moves by its pixels with the wheel, however long it is', () => {
    const top = 12_000_000;
    const at = scrollOf(LONG, top);
    expect(topAfter(LONG, top, at, at + 44)).toBeCloseTo(top + 2);
    expect(topAfter(LONG, top, at, at - 44)).toBeCloseTo(top - 2);
  });

  it('goes to its share when the bar is dragged', () => {
    const most = MOST_HEIGHT - 220;
    expect(topAfter(LONG, 0, 0, most / 2)).toBeCloseTo(mostTop(LONG) / 2);
  });

  it('reaches both ends by the wheel', () => {
    expect(topAfter(LONG, 3, 1, 0)).toBe(0);
    const most = MOST_HEIGHT - 220;
    expect(topAfter(LONG, mostTop(LONG) - 5, most - 1, most)).toBeCloseTo(mostTop(LONG));
  });

  it('draws what is seen and little more', () => {
    expect(rowsToDraw(LONG, 12_000_000.5, 4)).toEqual([11_999_996, 12_000_015]);
    expect(rowsToDraw(SHORT, 0, 4)).toEqual([0, 14]);
    expect(rowsToDraw({ ...SHORT, rows: 3 }, 0, 4)).toEqual([0, 3]);
    expect(rowsToDraw({ ...SHORT, rows: 0 }, 0, 4)).toEqual([0, 0]);
  });

  it('moves only as far as a row needs to be seen', () => {
    expect(topShowing(SHORT, 10, 15)).toBe(10);
    expect(topShowing(SHORT, 10, 5)).toBe(5);
    expect(topShowing(SHORT, 10, 20)).toBe(11);
  });

  it('has a row in the middle, as near as the ends allow', () => {
    expect(topCentred(SHORT, 500)).toBe(495.5);
    expect(topCentred(SHORT, 2)).toBe(0);
    expect(topCentred(SHORT, 999)).toBe(990);
  });
});

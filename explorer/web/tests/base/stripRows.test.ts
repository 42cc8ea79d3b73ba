import { describe, expect, it } from 'vitest';

import { rowAt, stripRows, type StripWish } from '../../src/base/stripRows';

const wishes = (lanes: number): StripWish[] => [
  { kind: 'overview', key: 'overview' },
  { kind: 'ruler', key: 'ruler' },
  { kind: 'activity', key: 'fires' },
  { kind: 'count', key: 'messages' },
  { kind: 'count', key: 'transmissions' },
  ...Array.from({ length: lanes }, (_, i): StripWish => ({ kind: 'lane', key: `lane ${i}` })),
];
const heights = (height: number, lanes: number) => stripRows(wishes(lanes), height, 16, 0).rows.map((r) => r.height);

describe('the strips of the timeline', () => {
  it('have the heights of the design', () => {
    expect(heights(250, 3)).toEqual([30, 22, 86, 26, 26, 20, 20, 20]);
    expect(stripRows(wishes(3), 250, 16, 0).mostScroll).toBe(0);
  });

  it('give the activity what is left where lanes are few', () => {
    expect(heights(250, 0)).toEqual([30, 22, 146, 26, 26]);
    expect(heights(250, 9)[2]).toBe(84);
  });

  it('give the activity less where the timeline is lower', () => {
    expect(heights(184, 1)).toEqual([30, 22, 60, 26, 26, 20]);
    expect(heights(96, 1)).toEqual([30, 22, 44, 26, 26, 20]);
  });

  it('grow with the text', () => {
    expect(stripRows(wishes(0), 376, 32, 0).rows.map((r) => r.height)).toEqual([60, 44, 168, 52, 52]);
  });

  it('scroll lanes alone where there is room for the rest', () => {
    const layout = stripRows(wishes(6), 250, 16, 1000);
    expect(layout.mostScroll).toBe(58);
    expect(layout.scrollTop).toBe(188);
    expect(layout.rows[4]?.y).toBe(162);
    expect(layout.rows[5]?.y).toBe(188 - 58);
  });

  it('scroll all below the ruler where there is none', () => {
    const layout = stripRows(wishes(1), 96, 16, 30);
    expect(layout.scrollTop).toBe(52);
    expect(layout.rows[1]?.y).toBe(30);
    expect(layout.rows[2]?.y).toBe(22);
  });

  it('find the row under the pointer, never one that is scrolled away', () => {
    const layout = stripRows(wishes(6), 250, 16, 58);
    expect(rowAt(layout, 170)?.key).toBe('transmissions');
    expect(rowAt(layout, 189)?.key).toBe('lane 2');
    expect(rowAt(layout, 31)?.key).toBe('ruler');
    expect(rowAt(layout, 251)).toBeUndefined();
  });
});

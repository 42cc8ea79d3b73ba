import { describe, expect, it } from 'vitest';

import { stripRows } from '../../../src/base/stripRows';
import { snappedEdge } from '../../../src/views/timeline/snap';
import { cursorOf, zoneAt, type ZoneScene } from '../../../src/views/timeline/zones';
import { wishesOf } from '../../../src/views/timeline/rows';

const MARK = { name: 'sweep 3', cycle: 180n };
const SCENE: ZoneScene = {
  layout: stripRows(wishesOf(['fire', 'send'], false, []), 250, 16, 0),
  width: 1000,
  rem: 16,
  view: { start: 100n, fraction: 0, span: 100 },
  whole: { start: 0n, fraction: 0, span: 1000 },
  range: { first: 120n, last: 149n },
  marks: [MARK],
};
const kindAt = (x: number, y: number, scene = SCENE) => zoneAt(scene, x, y)?.kind;

describe('what lies under the pointer', () => {
  it('is the frame of the overview, its sides, or what is outside', () => {
    expect([50, 98, 150, 203, 500].map((x) => kindAt(x, 10))).toEqual([
      'overview',
      'frameLeft',
      'frame',
      'frameRight',
      'overview',
    ]);
  });

  it('is a side or the outside where the frame is all: a drag then makes a window', () => {
    const all = { ...SCENE, view: SCENE.whole };
    expect([2, 500, 998].map((x) => kindAt(x, 10, all))).toEqual(['frameLeft', 'overview', 'frameRight']);
  });

  it('is an edge of the range, in the ruler and below', () => {
    expect([197, 300, 503].map((x) => kindAt(x, 40))).toEqual(['rangeLeft', 'ruler', 'rangeRight']);
    expect([197, 300, 503].map((x) => kindAt(x, 100))).toEqual(['rangeLeft', 'strip', 'rangeRight']);
    expect(kindAt(197, 100, { ...SCENE, range: undefined })).toBe('strip');
  });

  it('is the right edge where both are near', () => {
    expect(kindAt(200, 100, { ...SCENE, range: { first: 120n, last: 119n } })).toBe('rangeRight');
  });

  it('is the flag of a mark', () => {
    expect(zoneAt(SCENE, 805, 40)).toEqual({ kind: 'mark', mark: MARK });
    expect(kindAt(830, 40)).toBe('ruler');
  });

  it('is nothing below the last strip', () => {
    expect(kindAt(300, 251)).toBeUndefined();
    expect(cursorOf(undefined)).toBe('default');
  });
});

describe('an edge under the hand', () => {
  const { view } = SCENE;

  it('snaps to what is near, and not with Alt', () => {
    expect(snappedEdge(view, 1000, 395, [140n], true)).toBe(140n);
    expect(snappedEdge({ ...view, span: 1000 }, 1000, 42, [140n], true)).toBe(140n);
    expect(snappedEdge({ ...view, span: 1000 }, 1000, 42, [140n], false)).toBe(142n);
    expect(snappedEdge({ ...view, span: 1000 }, 1000, 50, [140n], true)).toBe(150n);
  });

  it('takes the nearest of several', () => {
    expect(snappedEdge({ ...view, span: 1000 }, 1000, 42, [139n, 143n], true)).toBe(143n);
  });
});

import { rowAt, type StripRow, type StripRows } from '../../base/stripRows';
import { xOf, type TimeWindow } from '../../base/timeScale';
import { frameEdges } from '../../gl/strips/overview';
import { rangeEdges } from '../../gl/strips/range';
import { markReach } from '../../gl/strips/ruler';
import type { Mark } from '../../model/markStore';
import type { CycleSpan } from '../../model/timeStore';

/** What can be met by the pointer, and where it lies. */
export interface ZoneScene {
  readonly layout: StripRows;
  readonly width: number;
  readonly rem: number;
  readonly view: TimeWindow;
  readonly whole: TimeWindow;
  readonly range: CycleSpan | undefined;
  readonly marks: readonly Mark[];
}

export type Zone =
  | { readonly kind: 'overview' | 'frame' | 'frameLeft' | 'frameRight' | 'ruler' | 'rangeLeft' | 'rangeRight' }
  | { readonly kind: 'mark'; readonly mark: Mark }
  | { readonly kind: 'strip'; readonly row: StripRow };

const EDGE_REACH = 5;

function overviewZone(scene: ZoneScene, x: number): Zone {
  const [left, right] = frameEdges(scene.whole, scene.view, scene.width);
  const isWhole = right - left >= scene.width - 1;
  const reach = Math.min(EDGE_REACH, Math.max(2, (right - left) / 3)) * (scene.rem / 16);
  if (Math.abs(x - left) <= reach || (isWhole && x <= EDGE_REACH)) {
    return { kind: 'frameLeft' };
  }
  if (Math.abs(x - right) <= reach || (isWhole && x >= scene.width - EDGE_REACH)) {
    return { kind: 'frameRight' };
  }
  return { kind: x > left && x < right && !isWhole ? 'frame' : 'overview' };
}

function edgeZone(scene: ZoneScene, x: number): Zone | undefined {
  if (scene.range === undefined) {
    return undefined;
  }
  const [left, right] = rangeEdges(scene.view, scene.width, scene.range);
  const reach = EDGE_REACH * (scene.rem / 16);
  if (Math.abs(x - left) > reach && Math.abs(x - right) > reach) {
    return undefined;
  }
  return { kind: Math.abs(x - right) <= Math.abs(x - left) ? 'rangeRight' : 'rangeLeft' };
}

function markZone(scene: ZoneScene, x: number): Zone | undefined {
  const reach = markReach(scene.rem);
  const mark = scene.marks.find((one) => {
    const from = xOf(scene.view, scene.width, one.cycle);
    return x >= from - 2 && x <= from + reach;
  });
  return mark && { kind: 'mark', mark };
}

/** What lies under a point of the strips; nothing below the last. */
export function zoneAt(scene: ZoneScene, x: number, y: number): Zone | undefined {
  const row = rowAt(scene.layout, y);
  if (row === undefined) {
    return edgeZone(scene, x);
  }
  switch (row.kind) {
    case 'overview':
      return overviewZone(scene, x);
    case 'ruler':
      return edgeZone(scene, x) ?? markZone(scene, x) ?? { kind: 'ruler' };
    default:
      return edgeZone(scene, x) ?? { kind: 'strip', row };
  }
}

const CURSORS: Readonly<Record<Zone['kind'], string>> = {
  overview: 'crosshair',
  frame: 'grab',
  frameLeft: 'ew-resize',
  frameRight: 'ew-resize',
  ruler: 'pointer',
  rangeLeft: 'ew-resize',
  rangeRight: 'ew-resize',
  mark: 'pointer',
  strip: 'default',
};

export const cursorOf = (zone: Zone | undefined): string => (zone === undefined ? 'default' : CURSORS[zone.kind]);

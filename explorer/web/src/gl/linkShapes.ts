import type { Layout, Spot } from '../base/floorplan/layout';
import type { Place } from '../base/place';
import { stopOf, type Palette } from '../theme/palettes';
import type { WedgeList } from './wedges';

export type Way = 'right' | 'left' | 'up' | 'down';
export const WAYS: readonly Way[] = ['right', 'left', 'up', 'down'];

/** How full each direction of each link of a mesh is. Numbers go row by row. */
export interface LinkLoads {
  readonly columns: number;
  readonly rows: number;
  readonly of: 'elements' | 'clusters';
  readonly loads: Readonly<Record<Way, Float64Array>>;
  /** Of the scale. */
  readonly end: number;
  readonly wrapColumns: boolean;
  readonly wrapRows: boolean;
}

export const ROUTER = 0.4; // of the pitch
export const NUMBERS_PITCH = 44; // CSS pixels from which loads are told in numbers
const EDGED = 0.3; // of the scale, below which a bar has an edge
const APART = 3; // CSS pixels between both directions
const HEAD = 7;

/** To the right on the canvas and down. */
export const STEPS: Readonly<Record<Way, readonly [number, number]>> = {
  right: [1, 0],
  left: [-1, 0],
  up: [0, -1],
  down: [0, 1],
};

export interface MeshPlace {
  /** Device pixels from one node to the next. */
  readonly pitch: number;
  /** CSS pixels of it. */
  readonly cssPitch: number;
  /** Half the side of a router. */
  readonly half: number;
  middle(node: Place): Spot;
}

/** Where the nodes of a mesh are: elements, or the switches of clusters. */
export function meshPlace(layout: Layout, of: 'elements' | 'clusters'): MeshPlace {
  const { pitch, ratio } = layout.look;
  if (of === 'elements') {
    return {
      pitch,
      cssPitch: pitch / ratio,
      half: Math.round((ROUTER * pitch) / 2),
      middle: (node) => layout.middle(node),
    };
  }
  const span = layout.columns.clusters > 1
    ? layout.columns.switchMiddle(1) - layout.columns.switchMiddle(0)
    : layout.columns.length;
  return {
    pitch: span,
    cssPitch: span / ratio,
    half: Math.round(layout.switchRadius),
    middle: (cluster) => layout.switchMiddle(cluster),
  };
}

/** How wide a bar is in CSS pixels. */
export function barWidth(share: number, cssPitch: number): number {
  return (1.5 + 9 * Math.min(1, share) ** 1.25) * (cssPitch < NUMBERS_PITCH ? 0.4 : 1);
}

export interface Bar {
  readonly node: Place;
  readonly way: Way;
  readonly share: number;
  readonly load: number;
  readonly line: readonly [number, number, number, number];
  readonly half: number;
}

const isThere = (links: LinkLoads, node: Place, way: Way): boolean => {
  const [dx, dy] = STEPS[way];
  const column = node.column + dx;
  const row = node.row - dy;
  const inside = column >= 0 && column < links.columns && row >= 0 && row < links.rows;
  return inside || (dx !== 0 ? links.wrapColumns && links.columns > 2 : links.wrapRows && links.rows > 2);
};

const wraps = (links: LinkLoads, node: Place, way: Way): boolean => {
  const [dx, dy] = STEPS[way];
  const column = node.column + dx;
  const row = node.row - dy;
  return column < 0 || column >= links.columns || row < 0 || row >= links.rows;
};

/** The line of a direction: on its own right side, from router to router. */
function barOf(links: LinkLoads, place: MeshPlace, ratio: number, node: Place, way: Way): Bar {
  const number = node.row * links.columns + node.column;
  const load = links.loads[way][number] ?? 0;
  const share = links.end > 0 ? load / links.end : 0;
  const [dx, dy] = STEPS[way];
  const half = (barWidth(share, place.cssPitch) * ratio) / 2;
  const off = (APART / 2) * (place.cssPitch < NUMBERS_PITCH ? 0.4 : 1) * ratio + half;
  const middle = place.middle(node);
  const from = place.half + 2 * ratio;
  // What goes around the edge is shown half at each end.
  const to = wraps(links, node, way) ? place.half + 0.6 * place.pitch : place.pitch - from;
  const x = middle.x - dy * off;
  const y = middle.y + dx * off;
  return { node, way, share, load, half, line: [x + dx * from, y + dy * from, x + dx * to, y + dy * to] };
}

/** All bars of the links, the emptiest first, so that full ones lie over them. */
export function barsOf(links: LinkLoads, place: MeshPlace, ratio: number): Bar[] {
  const bars: Bar[] = [];
  for (let row = 0; row < links.rows; ++row) {
    for (let column = 0; column < links.columns; ++column) {
      for (const way of WAYS) {
        if (isThere(links, { column, row }, way)) {
          bars.push(barOf(links, place, ratio, { column, row }, way));
        }
      }
    }
  }
  return bars.sort((a, b) => a.share - b.share);
}

/** Bars with half an arrowhead on the outer side; light ones have an edge. */
export function addBars(list: WedgeList, bars: readonly Bar[], place: MeshPlace, ratio: number, palette: Palette): void {
  const tiny = place.cssPitch < NUMBERS_PITCH;
  const head = (tiny ? 2 : HEAD) * ratio;
  const outer = (tiny ? 0.7 : 2.5) * ratio;
  for (const { line, half, share } of bars) {
    const add = (more: number, color: readonly [number, number, number]) => {
      const wide = half + more;
      const shape = { start: wide, neck: wide, head: head + more, left: wide, right: half + outer + more, tip: -half };
      list.add(line, shape, color, 1);
    };
    if (share < EDGED) {
      add(0.75 * ratio, palette.control);
    }
    add(0, stopOf(palette.sequential, share));
  }
}

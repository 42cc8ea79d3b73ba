import type { Axis } from '../base/floorplan/axis';
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
  /** Device pixels from one node to the next one at its side, and to the next one above. */
  readonly pitch: readonly [number, number];
  /** CSS pixels of the shorter one. */
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
      pitch: [pitch, pitch],
      cssPitch: pitch / ratio,
      half: Math.round((ROUTER * pitch) / 2),
      middle: (node) => layout.middle(node),
    };
  }
  const along = (axis: Axis) => (axis.clusters > 1 ? axis.switchMiddle(1) - axis.switchMiddle(0) : axis.length);
  const spans = [along(layout.columns), along(layout.rows)] as const;
  return {
    pitch: spans,
    cssPitch: Math.min(...spans) / ratio,
    half: Math.round(layout.switchRadius),
    middle: (cluster) => layout.switchMiddle(cluster),
  };
}

/** Device pixels from a node to the next one in a direction. */
const pitchAlong = (place: MeshPlace, way: Way): number => place.pitch[STEPS[way][0] === 0 ? 1 : 0];

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
  /**
   * Of a link that goes around the edge, of which half is shown at each end: the corners of its
   * arc. It ends at a router, or begins at one.
   */
  readonly arc?: { readonly corners: readonly Spot[]; readonly arrives: boolean };
}

export const ARC_OUT = 0.6; // of the pitch: how far an arc goes out of the array
const BENT = 0.3; // of the pitch: how far it bends aside
const CORNERS = 8;

/** Where the link that leaves a node ends; one that goes around, at the other edge. */
export function endOfLink(mesh: Pick<LinkLoads, 'columns' | 'rows'>, node: Place, way: Way): Place {
  const [dx, dy] = STEPS[way];
  return { column: (node.column + dx + mesh.columns) % mesh.columns, row: (node.row - dy + mesh.rows) % mesh.rows };
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

/** From a router out of the array and aside, as a quarter of an ellipse. */
function arcFrom(start: Spot, out: readonly [number, number], aside: readonly [number, number]): Spot[] {
  return Array.from({ length: CORNERS + 1 }, (_, i) => {
    const angle = (Math.PI / 2) * (i / CORNERS);
    const [along, across] = [Math.sin(angle), 1 - Math.cos(angle)];
    return { x: start.x + out[0] * along + aside[0] * across, y: start.y + out[1] * along + aside[1] * across };
  });
}

/** The box of corners, as the diagonal that stands for the line of a bar. */
function diagonalOf(corners: readonly Spot[]): readonly [number, number, number, number] {
  const [xs, ys] = [corners.map(({ x }) => x), corners.map(({ y }) => y)];
  return [Math.min(...xs), Math.min(...ys), Math.max(...xs), Math.max(...ys)];
}

/**
 * Both ends of a link that goes around the edge: it leaves the array at one end and comes back at the
 * other, each bent to its own right side.
 */
function arcsOf(bar: Bar, links: LinkLoads, place: MeshPlace, ratio: number): Bar[] {
  const [dx, dy] = STEPS[bar.way];
  const off = (APART / 2) * (place.cssPitch < NUMBERS_PITCH ? 0.4 : 1) * ratio + bar.half;
  const from = place.half + 2 * ratio;
  const reach = ARC_OUT * pitchAlong(place, bar.way);
  const bend = BENT * place.cssPitch * ratio;
  const end = endOfLink(links, bar.node, bar.way);
  const at = (node: Place, side: 1 | -1): Spot => {
    const { x, y } = place.middle(node);
    return { x: x - dy * off + side * dx * from, y: y + dx * off + side * dy * from };
  };
  const aside = [-dy * bend, dx * bend] as const;
  const leaves = arcFrom(at(bar.node, 1), [dx * reach, dy * reach], aside);
  const arrives = arcFrom(at(end, -1), [-dx * reach, -dy * reach], aside).reverse();
  return [
    { ...bar, line: diagonalOf(leaves), arc: { corners: leaves, arrives: false } },
    { ...bar, line: diagonalOf(arrives), arc: { corners: arrives, arrives: true } },
  ];
}

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
  const to = pitchAlong(place, way) - from;
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
          const bar = barOf(links, place, ratio, { column, row }, way);
          bars.push(...(wraps(links, bar.node, way) ? arcsOf(bar, links, place, ratio) : [bar]));
        }
      }
    }
  }
  return bars.sort((a, b) => a.share - b.share);
}

/** An arc, piece by piece; one that arrives has the arrowhead at its end. */
function addArc(
  list: WedgeList,
  { corners, arrives }: NonNullable<Bar['arc']>,
  pointed: Parameters<WedgeList['add']>[1],
  color: readonly [number, number, number],
): void {
  const plain = { ...pointed, head: 0 };
  const over = pointed.start * Math.tan(Math.PI / 4 / CORNERS); // pieces overlap on the outer side
  for (let i = 1; i < corners.length; ++i) {
    const [from, to] = [corners[i - 1], corners[i]];
    if (from !== undefined && to !== undefined) {
      const last = i === corners.length - 1;
      const long = Math.max(1e-6, Math.hypot(to.x - from.x, to.y - from.y));
      const [ax, ay] = [(to.x - from.x) / long, (to.y - from.y) / long];
      const [before, behind] = [i === 1 ? 0 : over, last ? 0 : over];
      const line = [from.x - ax * before, from.y - ay * before, to.x + ax * behind, to.y + ay * behind] as const;
      list.add(line, arrives && last ? pointed : plain, color, 1);
    }
  }
}

/** Bars with half an arrowhead on the outer side; light ones have an edge. */
export function addBars(list: WedgeList, bars: readonly Bar[], place: MeshPlace, ratio: number, palette: Palette): void {
  const tiny = place.cssPitch < NUMBERS_PITCH;
  const head = (tiny ? 2 : HEAD) * ratio;
  const outer = (tiny ? 0.7 : 2.5) * ratio;
  for (const { line, half, share, arc } of bars) {
    const add = (more: number, color: readonly [number, number, number]) => {
      const wide = half + more;
      const pointed = { start: wide, neck: wide, head: head + more, left: wide, right: half + outer + more, tip: -half };
      if (arc === undefined) {
        list.add(line, pointed, color, 1);
      } else {
        addArc(list, arc, pointed, color);
      }
    };
    if (share < EDGED) {
      add(0.75 * ratio, palette.control);
    }
    add(0, stopOf(palette.sequential, share));
  }
}

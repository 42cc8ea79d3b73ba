import { meshPlace, type Bar } from '../../gl/linkShapes';
import { middleOf, type Box, type Layout, type Spot } from '../../base/floorplan/layout';
import { unitAt, type PixelTable } from '../../base/floorplan/pixelTable';
import type { Place, PlacePair } from '../../base/place';
import { unitOf, unitSpan } from '../../base/shape';
import type { Piece } from '../../protocol/questions';
import type { PlaceRect } from '../../model/selectionStore';

const LEAST_LINK = 8; // CSS pixels of a link's hit area

/** Where a piece is drawn. */
export function boxOfPiece(layout: Layout, piece: Piece, bars: readonly Bar[], of: 'elements' | 'clusters'): Box {
  const place = (pair: readonly [number, number]): Place => ({ column: pair[0], row: pair[1] });
  if ('pe' in piece) {
    return layout.unit(unitOf(layout.grain, place(piece.pe)));
  }
  if ('domain' in piece) {
    return layout.domain(place(piece.domain));
  }
  if ('cluster' in piece) {
    return layout.cluster(place(piece.cluster));
  }
  if ('switch' in piece) {
    return around(layout.switchMiddle(place(piece.switch)), layout.switchRadius);
  }
  const [column, row, way] = piece.link;
  const bar = bars.find((other) => other.way === way && other.node.column === column && other.node.row === row);
  return bar === undefined
    ? around(meshPlace(layout, of).middle({ column, row }), layout.switchRadius)
    : boxOfBar(bar, 3 * layout.look.ratio);
}

const around = (spot: Spot, half: number): Box => ({
  x: spot.x - half,
  y: spot.y - half,
  width: 2 * half,
  height: 2 * half,
});

function boxOfBar({ line, half, arc }: Bar, more: number): Box {
  const [x1, y1, x2, y2] = line;
  if (arc !== undefined) {
    const out = half + more;
    return { x: x1 - out, y: y1 - out, width: x2 - x1 + 2 * out, height: y2 - y1 + 2 * out };
  }
  const across = x1 === x2;
  const [dx, dy] = across ? [half + more, 0] : [0, half + more];
  return {
    x: Math.min(x1, x2) - dx,
    y: Math.min(y1, y2) - dy,
    width: Math.abs(x2 - x1) + 2 * dx,
    height: Math.abs(y2 - y1) + 2 * dy,
  };
}

/** How far a spot is from the middle of a bar, across it. */
function distanceOf({ line, arc }: Bar, spot: Spot, middle: Spot): number {
  if (arc !== undefined) {
    return Math.min(...arc.corners.map(({ x, y }) => Math.hypot(spot.x - x, spot.y - y)));
  }
  return line[0] === line[2] ? Math.abs(spot.x - middle.x) : Math.abs(spot.y - middle.y);
}

/** The nearest bar that the spot hits. */
function barAt(bars: readonly Bar[], spot: Spot, ratio: number): Bar | undefined {
  let best: Bar | undefined;
  let nearest = Infinity;
  for (const bar of bars) {
    const box = boxOfBar(bar, Math.max(0, (LEAST_LINK / 2) * ratio - bar.half));
    const inside = spot.x >= box.x && spot.x < box.x + box.width && spot.y >= box.y && spot.y < box.y + box.height;
    const middle = middleOf(box);
    const off = distanceOf(bar, spot, middle);
    if (inside && off < nearest) {
      best = bar;
      nearest = off;
    }
  }
  return best;
}

export interface Pickable {
  readonly layout: Layout;
  readonly columns: PixelTable;
  readonly rows: PixelTable;
  readonly bars: readonly Bar[];
  readonly switches: boolean;
}

function switchAt(layout: Layout, spot: Spot): Place | undefined {
  const radius = layout.switchRadius;
  const [columns, rows] = layout.shape.clusters;
  for (let row = 0; row < rows; ++row) {
    for (let column = 0; column < columns; ++column) {
      const { x, y } = layout.switchMiddle({ column, row });
      if (Math.abs(spot.x - x) + Math.abs(spot.y - y) <= radius) {
        return { column, row };
      }
    }
  }
  return undefined;
}

/** The unit whose pitch the pixel lies in: a gap belongs to the unit before it. */
function unitNear(table: PixelTable, pixel: number, gap: number, back: 1 | -1): number | undefined {
  for (let off = 0; off <= gap; ++off) {
    const unit = unitAt(table, pixel + back * off);
    if (unit !== undefined) {
      return unit;
    }
  }
  return undefined;
}

/** The element, block, domain or cluster under a spot, as far as the picture tells them apart. */
export function unitUnder({ layout, columns, rows }: Pickable, spot: Spot): Place | undefined {
  const column = unitNear(columns, Math.floor(spot.x), layout.gap, -1);
  const row = unitNear(rows, Math.floor(spot.y), layout.gap, 1);
  return column === undefined || row === undefined ? undefined : { column, row };
}

export function pieceUnder(pickable: Pickable, spot: Spot): Piece | undefined {
  const { layout, bars } = pickable;
  const bar = barAt(bars, spot, layout.look.ratio);
  if (bar !== undefined) {
    return { link: [bar.node.column, bar.node.row, bar.way] };
  }
  if (pickable.switches && layout.level === 'pe' && layout.shape.clusters[0] * layout.shape.clusters[1] > 1) {
    const cluster = switchAt(layout, spot);
    if (cluster !== undefined) {
      return { switch: [cluster.column, cluster.row] };
    }
  }
  const unit = unitUnder(pickable, spot);
  if (unit === undefined) {
    return undefined;
  }
  const pair = [unit.column, unit.row] as const;
  if (layout.level === 'domain') {
    return { domain: pair };
  }
  return layout.level === 'cluster' ? { cluster: pair } : { pe: elementIn(layout, unit, spot) };
}

/** The element of a block that is under a spot, though it is not drawn by itself. */
function elementIn(layout: Layout, unit: Place, spot: Spot): PlacePair {
  const [width, height] = layout.grain.span;
  const box = layout.unit(unit);
  const within = (offset: number, size: number, count: number) =>
    Math.min(count - 1, Math.max(0, Math.floor((offset * count) / size)));
  const first = { column: unit.column * width, row: unit.row * height };
  const columns = Math.min(width, layout.columns.elements - first.column);
  const rows = Math.min(height, layout.rows.elements - first.row);
  return [
    first.column + within(Math.floor(spot.x) - box.x, box.width, columns),
    first.row + within(box.y + box.height - 1 - Math.floor(spot.y), box.height, rows),
  ];
}

/** All elements that a rectangle of the canvas touches. */
export function elementsWithin(layout: Layout, from: Spot, to: Spot): PlaceRect | undefined {
  const [left, right] = [Math.min(from.x, to.x), Math.max(from.x, to.x)];
  const [above, below] = [Math.min(from.y, to.y), Math.max(from.y, to.y)];
  const columns = touched(layout.columns.elements, (i) => layout.element({ column: i, row: 0 }), left, right, 'x');
  const rows = touched(layout.rows.elements, (i) => layout.element({ column: 0, row: i }), above, below, 'y');
  if (columns === undefined || rows === undefined) {
    return undefined;
  }
  return { first: { column: columns[0], row: rows[0] }, last: { column: columns[1], row: rows[1] } };
}

function touched(count: number, boxOf: (i: number) => Box, from: number, to: number, axis: 'x' | 'y'): readonly [number, number] | undefined {
  let first: number | undefined;
  let last = 0;
  for (let i = 0; i < count; ++i) {
    const box = boxOf(i);
    const start = axis === 'x' ? box.x : box.y;
    const end = start + (axis === 'x' ? box.width : box.height);
    if (end > from && start < to) {
      first ??= i;
      last = i;
    }
  }
  return first === undefined ? undefined : [first, last];
}

/** The element at the lower left of a piece, for arrow keys and for the axes. */
export function firstElement(layout: Layout, piece: Piece): Place {
  const at = (pair: readonly [number, number], level: 'domain' | 'cluster'): Place => {
    const span = unitSpan(layout.shape, level);
    return { column: pair[0] * span[0], row: pair[1] * span[1] };
  };
  if ('pe' in piece) {
    return { column: piece.pe[0], row: piece.pe[1] };
  }
  if ('domain' in piece) {
    return at(piece.domain, 'domain');
  }
  return 'cluster' in piece ? at(piece.cluster, 'cluster') : 'switch' in piece ? at(piece.switch, 'cluster') : { column: piece.link[0], row: piece.link[1] };
}

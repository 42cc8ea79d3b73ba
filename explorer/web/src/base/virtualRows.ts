// Scrolling through more rows than a browser can make an element high.
//
// Up to MOST_HEIGHT each row has its pixels. Beyond, the scroll bar stands for all rows and a step of
// the wheel still moves by its pixels: which row is on top is held here, and the bar only follows.

/** Browsers lay out no more than some ten million pixels exactly. */
export const MOST_HEIGHT = 6_000_000;

export interface RowSpace {
  readonly rows: number;
  /** Pixels of a row and of the part of the list that is seen. */
  readonly rowHeight: number;
  readonly viewHeight: number;
}

/** How high the scrolled element is made. */
export const contentHeight = (space: RowSpace): number =>
  Math.min(MOST_HEIGHT, space.rows * space.rowHeight);

const isExact = (space: RowSpace): boolean => space.rows * space.rowHeight <= MOST_HEIGHT;

/** The highest row that can be on top (may be a part of one). */
export const mostTop = (space: RowSpace): number =>
  Math.max(0, space.rows - space.viewHeight / space.rowHeight);

/** Where the scroll bar stands for a row on top. */
export function scrollOf(space: RowSpace, top: number): number {
  const most = Math.max(0, contentHeight(space) - space.viewHeight);
  return mostTop(space) === 0 ? 0 : (Math.min(top, mostTop(space)) / mostTop(space)) * most;
}

/**
 * The row on top after the bar moved from `before` to `after`, when `top` was on top. A move of no
 * more than two screens is one of pixels; a longer one is a drag of the bar, and goes to its share.
 */
export function topAfter(space: RowSpace, top: number, before: number, after: number): number {
  const most = Math.max(1, contentHeight(space) - space.viewHeight);
  const atEnd = after <= 0 || after >= most;
  if (isExact(space) || atEnd || Math.abs(after - before) > 2 * space.viewHeight) {
    return Math.min(1, Math.max(0, after / most)) * mostTop(space);
  }
  return Math.min(mostTop(space), Math.max(0, top + (after - before) / space.rowHeight));
}

/** Rows to draw: from the first, up to the last, not included, with some to spare at both ends. */
export function rowsToDraw(space: RowSpace, top: number, spare: number): readonly [number, number] {
  const first = Math.max(0, Math.floor(top) - spare);
  const end = Math.min(space.rows, Math.ceil(top + space.viewHeight / space.rowHeight) + spare);
  return [first, Math.max(first, end)];
}

/** The least move after which `row` is to be seen whole. */
export function topShowing(space: RowSpace, top: number, row: number): number {
  const seen = space.viewHeight / space.rowHeight;
  if (row < top) {
    return row;
  }
  return row + 1 > top + seen ? Math.max(0, row + 1 - seen) : top;
}

/** The row in the middle, as near as the ends allow. */
export function topCentred(space: RowSpace, row: number): number {
  const top = row + 0.5 - space.viewHeight / space.rowHeight / 2;
  return Math.min(mostTop(space), Math.max(0, top));
}

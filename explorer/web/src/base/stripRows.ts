// Which strip stands where below each other, and which part of the timeline scrolls.

export type StripKind = 'overview' | 'ruler' | 'activity' | 'count' | 'lane';

/** What is wanted, from top to bottom; heights follow from the kind. */
export interface StripWish {
  readonly kind: StripKind;
  readonly key: string;
}

export interface StripRow extends StripWish {
  /** Of the upper edge, in pixels from the top of the timeline, scrolled. */
  readonly y: number;
  readonly height: number;
}

export interface StripRows {
  readonly rows: readonly StripRow[];
  /** Where what scrolls begins; rows above it stay. */
  readonly scrollTop: number;
  /** How far it can be scrolled. */
  readonly mostScroll: number;
}

const HEIGHT: Readonly<Record<StripKind, number>> = {
  overview: 30,
  ruler: 22,
  activity: 84,
  count: 26,
  lane: 20,
};

/** Less than this and the activity tells nothing any more. */
const LEAST_ACTIVITY = 44;

/** What a list of rows takes, in units of a pixel at 16 px text. */
function heightOf(wishes: readonly StripWish[], kinds: readonly StripKind[]): number {
  return wishes.filter((w) => kinds.includes(w.kind)).reduce((sum, w) => sum + HEIGHT[w.kind], 0);
}

/** How high the activity is drawn: what the rest leaves, though of many lanes it leaves room for one. */
function activityHeight(wishes: readonly StripWish[], height: number): number {
  const room = height - heightOf(wishes, ['overview', 'ruler', 'count']);
  const lanes = heightOf(wishes, ['lane']);
  const usual = Math.min(HEIGHT.activity, room - Math.min(lanes, HEIGHT.lane));
  return Math.max(LEAST_ACTIVITY, usual, room - lanes);
}

/**
 * Rows for a timeline `height` pixels high, in text of `rem` pixels, scrolled by `scroll` pixels.
 * Where the counts do not fit any more, all below the ruler scrolls; else the lanes alone do.
 */
export function stripRows(
  wishes: readonly StripWish[],
  height: number,
  rem: number,
  scroll: number,
): StripRows {
  const unit = rem / 16;
  const activity = activityHeight(wishes, height / unit);
  const pinned = heightOf(wishes, ['overview', 'ruler', 'count']) + activity;
  const staying: readonly StripKind[] =
    pinned <= height / unit ? ['overview', 'ruler', 'activity', 'count'] : ['overview', 'ruler'];
  const sizeOf = (kind: StripKind) => Math.round((kind === 'activity' ? activity : HEIGHT[kind]) * unit);
  const all = wishes.reduce((sum, wish) => sum + sizeOf(wish.kind), 0);
  const mostScroll = Math.max(0, all - Math.floor(height));
  const moved = Math.min(Math.max(0, scroll), mostScroll);
  let y = 0;
  let scrollTop = 0;
  const rows = wishes.map((wish) => {
    const stays = staying.includes(wish.kind);
    const row = { ...wish, y: stays ? y : y - moved, height: sizeOf(wish.kind) };
    y += row.height;
    if (stays) {
      scrollTop = y;
    }
    return row;
  });
  return { rows, scrollTop, mostScroll };
}

/** The row at a height, of what is to be seen there; none below the last. */
export function rowAt(layout: StripRows, y: number): StripRow | undefined {
  return layout.rows.find(
    (row) =>
      y >= row.y && y < row.y + row.height && (row.y + row.height <= layout.scrollTop || y >= layout.scrollTop),
  );
}

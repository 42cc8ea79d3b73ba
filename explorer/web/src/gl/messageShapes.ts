import type { Layout, Spot } from '../base/floorplan/layout';
import type { MessageList } from '../base/picture';
import type { Rgb } from '../theme/palettes';
import type { WedgeList } from './wedges';

// In CSS pixels.
const WEDGE_PITCH = 8; // between elements, from which messages are wedges
const FULL_PITCH = 12; // from which they have their full width
const TRIMMED_PITCH = 22; // from which they end at the edges of cells
const NEW_WIDTH = 3.6;
const NEW_TIP = 0.8;
const OLD_WIDTH = 2.6;
const HEAD_LENGTH = 6;
const HEAD_WIDTH = 5.6;
const THIN = 0.7; // of the strength of a wedge where messages are lines

/** How strongly a message is drawn. */
export const strengthAt = (age: number): number => (age === 0 ? 1 : 0.5 * 0.74 ** (age - 1));

const distance = (a: Spot, b: Spot): number => Math.hypot(b.x - a.x, b.y - a.y);

/** Where the way from one cell to another leaves the square around `from`. */
function atEdge(from: Spot, to: Spot, half: number): Spot {
  const longer = Math.max(Math.abs(to.x - from.x), Math.abs(to.y - from.y));
  const share = Math.min(0.5, half / longer);
  return { x: from.x + (to.x - from.x) * share, y: from.y + (to.y - from.y) * share };
}

interface Ends {
  readonly from: Spot;
  readonly to: Spot;
}

/** From the middle of one cell to that of another; on large cells from edge to edge. */
export function endsOf(layout: Layout, messages: MessageList, number: number): Ends {
  const at = (list: Uint32Array) =>
    layout.middle({ column: list[2 * number] ?? 0, row: list[2 * number + 1] ?? 0 });
  const from = at(messages.from);
  const to = at(messages.to);
  if (layout.cssPitch < TRIMMED_PITCH) {
    return { from, to };
  }
  const half = (layout.look.pitch - layout.gap) / 2;
  return { from: atEdge(from, to, half), to: atEdge(to, from, half) };
}

function addLine(list: WedgeList, { from, to }: Ends, ratio: number, ink: Rgb, alpha: number): void {
  const half = ratio / 2;
  const shape = { start: half, neck: half, head: 0, left: 0, right: 0, tip: 0 };
  list.add([from.x, from.y, to.x, to.y], shape, ink, alpha);
}

function addWedge(list: WedgeList, { from, to }: Ends, layout: Layout, age: number, ink: Rgb, alpha: number): void {
  const scale = Math.min(1, layout.cssPitch / FULL_PITCH) * layout.look.ratio;
  const headed = age === 0 || layout.cssPitch >= TRIMMED_PITCH;
  const half = (HEAD_WIDTH / 2) * scale;
  list.add(
    [from.x, from.y, to.x, to.y],
    {
      start: ((age === 0 ? NEW_WIDTH : OLD_WIDTH) / 2) * scale,
      neck: (NEW_TIP / 2) * scale,
      head: headed ? Math.min(HEAD_LENGTH * scale, distance(from, to)) : 0,
      left: half,
      right: half,
      tip: 0,
    },
    ink,
    alpha,
  );
}

const isLoop = (messages: MessageList, i: number): boolean =>
  messages.from[2 * i] === messages.to[2 * i] && messages.from[2 * i + 1] === messages.to[2 * i + 1];

/** Messages as ink, wide at the sender; `dim` weakens all of them. */
export function addMessages(list: WedgeList, layout: Layout, messages: MessageList, ink: Rgb, dim: number): void {
  for (let i = 0; i < messages.record.length; ++i) {
    const age = messages.age[i] ?? 0;
    const ends = endsOf(layout, messages, i);
    if (isLoop(messages, i) || distance(ends.from, ends.to) < 1) {
      continue;
    }
    if (layout.cssPitch < WEDGE_PITCH) {
      addLine(list, ends, layout.look.ratio, ink, strengthAt(age) * THIN * dim);
    } else {
      addWedge(list, ends, layout, age, ink, strengthAt(age) * dim);
    }
  }
}

/** Bands as the viewer draws them: between lower left corners of elements, two units wide. */
export function addBands(list: WedgeList, layout: Layout, messages: MessageList, colourAt: (age: number) => Rgb): void {
  const unit = layout.look.pitch / 8;
  const half = Math.max(layout.look.ratio / 2, unit);
  const corner = (places: Uint32Array, i: number): Spot => {
    const box = layout.element({ column: places[2 * i] ?? 0, row: places[2 * i + 1] ?? 0 });
    return { x: box.x + unit / 2, y: box.y + box.height - unit / 2 };
  };
  const shape = { start: half, neck: half, head: 0, left: 0, right: 0, tip: 0 };
  for (let i = 0; i < messages.record.length; ++i) {
    const from = corner(messages.from, i);
    const to = corner(messages.to, i);
    list.add([from.x, from.y, to.x, to.y], shape, colourAt(messages.age[i] ?? 0), 1);
  }
}

/** The share of the floorplan that messages cover, if none lay over another. */
export function coverOf(layout: Layout, messages: MessageList): number {
  let area = 0;
  const thin = layout.cssPitch < WEDGE_PITCH;
  const { plan, pitch } = layout.look;
  const scale = Math.min(1, layout.cssPitch / FULL_PITCH) * layout.look.ratio;
  for (let i = 0; i < messages.record.length; ++i) {
    const { from, to } = endsOf(layout, messages, i);
    const wide = plan === 'viewer' ? pitch / 4 : thin ? layout.look.ratio : ((messages.age[i] === 0 ? NEW_WIDTH : OLD_WIDTH) + NEW_TIP) / 2 * scale;
    area += distance(from, to) * wide;
  }
  const { width, height } = layout.box;
  return area / Math.max(1, width * height);
}

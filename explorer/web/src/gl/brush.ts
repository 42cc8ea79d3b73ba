import { WEDGE_WORDS, type WedgeList } from './wedges';

/**
 * What draws flat pictures: as much of a canvas's context as is needed, so that the same code draws
 * on a canvas and into a file of shapes.
 */
export type Brush = Pick<
  CanvasRenderingContext2D,
  | 'fillStyle'
  | 'strokeStyle'
  | 'lineWidth'
  | 'lineJoin'
  | 'globalAlpha'
  | 'font'
  | 'textAlign'
  | 'textBaseline'
  | 'beginPath'
  | 'moveTo'
  | 'lineTo'
  | 'closePath'
  | 'roundRect'
  | 'fill'
  | 'stroke'
  | 'fillRect'
  | 'strokeRect'
  | 'setLineDash'
  | 'fillText'
  | 'measureText'
>;

/** The corners of a wedge: along its left side to its point, and back along its right one. */
function cornersOf(words: Float32Array): readonly (readonly [number, number])[] {
  const [x1 = 0, y1 = 0, x2 = 0, y2 = 0, start = 0, neck = 0, head = 0, left = 0, right = 0, tip = 0] = words;
  const reach = Math.max(Math.hypot(x2 - x1, y2 - y1), 1e-6);
  const [ax, ay] = [(x2 - x1) / reach, (y2 - y1) / reach];
  const spot = (along: number, across: number) => [x1 + ax * along - ay * across, y1 + ay * along + ax * across] as const;
  const end = reach - head;
  const body = [spot(0, -start), spot(end, -neck)];
  const back = [spot(end, neck), spot(0, start)];
  return head > 0 ? [...body, spot(end, -left), spot(reach, tip), spot(end, right), ...back] : [...body, ...back];
}

/** Draws a list of wedges, the first one at the bottom. */
export function paintWedges(brush: Brush, list: WedgeList): void {
  const { data } = list;
  for (let i = 0; i < list.count; ++i) {
    const words = data.subarray(i * WEDGE_WORDS, (i + 1) * WEDGE_WORDS);
    const [red = 0, green = 0, blue = 0, alpha = 1] = words.subarray(10);
    brush.fillStyle = `rgb(${[red, green, blue].map((part) => Math.round(255 * part)).join(' ')})`;
    brush.globalAlpha = alpha;
    brush.beginPath();
    cornersOf(words).forEach(([x, y], corner) => (corner === 0 ? brush.moveTo(x, y) : brush.lineTo(x, y)));
    brush.closePath();
    brush.fill();
  }
  brush.globalAlpha = 1;
}

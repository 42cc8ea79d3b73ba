import type { Box, Layout, Spot } from '../../base/floorplan/layout';
import type { Place } from '../../base/place';
import { ARC_OUT, endOfLink, meshPlace, NUMBERS_PITCH, STEPS, type Bar, type LinkLoads } from '../../gl/linkShapes';
import type { Brush } from '../../gl/brush';
import { css, type Palette } from '../../theme/palettes';

// What is drawn over the cells and lines: numbers on the edges, rings, routers. In device pixels.

export interface OverlayInput {
  readonly layout: Layout;
  readonly palette: Palette;
  readonly font: string;
  /** Pixels of a rem, for the size of text. */
  readonly rem: number;
  readonly selected: Box | undefined;
  /** The columns and rows of what is selected, told as chips on the axes. */
  readonly chips: { readonly column: number; readonly row: number } | undefined;
  readonly hovered: Box | undefined;
  readonly band: Box | undefined;
  readonly links: LinkLoads | undefined;
  readonly bars: readonly Bar[];
  readonly path: readonly (readonly Place[])[];
  /** Whether the order of a path is told in numbers. */
  readonly numbered: boolean;
  /** Elements that fire on the path. */
  readonly fires: readonly Place[];
}

type Context = Brush;

const MOST_ROUTERS = 4096; // that are drawn one by one

class Pen {
  readonly unit: number; // device pixels of a CSS pixel as text grows

  constructor(
    readonly context: Context,
    readonly input: OverlayInput,
  ) {
    this.unit = (input.rem / 16) * input.layout.look.ratio;
  }

  font(size: number, weight: number): void {
    this.context.font = `${weight} ${size * this.unit}px ${this.input.font}`;
  }

  text(words: string, x: number, y: number, color: string, align: CanvasTextAlign): void {
    this.context.fillStyle = color;
    this.context.textAlign = align;
    this.context.textBaseline = 'middle';
    this.context.fillText(words, x, y);
  }
}

/** How many elements apart the numbers on the edges are. */
export function labelStep(cssPitch: number, flat: boolean, room: number): number {
  let step = flat && cssPitch >= 24 ? 1 : cssPitch >= 14 ? 4 : 8;
  while (step * cssPitch < room) {
    step *= 2;
  }
  return step;
}

/** Where the numbers of columns and rows stand: at the array's edge, or at that of the canvas. */
function axesAt(pen: Pen): { readonly y: number; readonly x: number } {
  const { look, box, isFlat } = pen.input.layout;
  const arcs = isFlat ? ARC_OUT * look.pitch : 0;
  const [below, beside] = [pen.input.links?.wrapRows ? arcs : 0, pen.input.links?.wrapColumns ? arcs : 0];
  return {
    y: Math.min(box.y + box.height + below + 14 * pen.unit, look.height - 10 * pen.unit),
    x: Math.max(box.x - beside - 10 * pen.unit, 26 * pen.unit),
  };
}

function drawNumbers(pen: Pen): void {
  const { layout, palette, chips } = pen.input;
  const at = axesAt(pen);
  const color = css(palette.ink3);
  const step = labelStep(layout.cssPitch, layout.isFlat, (28 * pen.input.rem) / 16);
  pen.font(11, 400);
  for (let column = 0; column < layout.columns.elements; column += step) {
    const { x } = layout.middle({ column, row: 0 });
    const free = chips === undefined || Math.abs(chips.column - column) * layout.look.pitch > 20 * pen.unit;
    if (free && x > 30 * pen.unit && x < layout.look.width) {
      pen.text(String(column), x, at.y, color, 'center');
    }
  }
  for (let row = 0; row < layout.rows.elements; row += step) {
    const { y } = layout.middle({ column: 0, row });
    const free = chips === undefined || Math.abs(chips.row - row) * layout.look.pitch > 16 * pen.unit;
    if (free && y > 0 && y < layout.look.height - 20 * pen.unit) {
      pen.text(String(row), at.x, y, color, 'right');
    }
  }
}

function drawChip(pen: Pen, words: string, x: number, y: number, align: 'center' | 'right'): void {
  const { context, unit } = pen;
  pen.font(11, 650);
  const width = context.measureText(words).width + 8 * unit;
  const height = 16 * unit;
  const left = align === 'right' ? x - width : x - width / 2;
  context.fillStyle = css(pen.input.palette.ink);
  context.beginPath();
  context.roundRect(left, y - height / 2, width, height, 3 * unit);
  context.fill();
  pen.text(words, left + width / 2, y + 0.5 * unit, css(pen.input.palette.paper), 'center');
}

function drawChips(pen: Pen): void {
  const { chips, layout } = pen.input;
  if (chips !== undefined) {
    const middle = layout.middle(chips);
    const at = axesAt(pen);
    drawChip(pen, String(chips.column), middle.x, at.y, 'center');
    drawChip(pen, String(chips.row), at.x + 4 * pen.unit, middle.y, 'right');
  }
}

function strokeBox(context: Context, box: Box, out: number): void {
  context.strokeRect(box.x - out, box.y - out, box.width + 2 * out, box.height + 2 * out);
}

function drawBrackets(pen: Pen, box: Box): void {
  const { context } = pen;
  const { ratio } = pen.input.layout.look;
  const [long, out] = [5 * ratio, 6 * ratio];
  context.beginPath();
  for (const [right, low] of [[0, 0], [1, 0], [0, 1], [1, 1]] as const) {
    const x = right ? box.x + box.width + out : box.x - out;
    const y = low ? box.y + box.height + out : box.y - out;
    context.moveTo(x + (right ? -long : long), y);
    context.lineTo(x, y);
    context.lineTo(x, y + (low ? -long : long));
  }
  context.stroke();
}

/** A ring of ink on a halo of paper; large things have brackets at their corners. */
function drawRing(pen: Pen, box: Box): void {
  const { context } = pen;
  const { ratio } = pen.input.layout.look;
  const large = Math.max(box.width, box.height) >= 20 * ratio;
  for (const [color, wide] of [[pen.input.palette.paper, 5], [pen.input.palette.ink, 2]] as const) {
    context.strokeStyle = css(color);
    context.lineWidth = wide * ratio;
    strokeBox(context, box, 2.5 * ratio);
    if (large) {
      context.lineWidth = (wide === 5 ? 4.5 : 2) * ratio;
      drawBrackets(pen, box);
    }
  }
}

function drawHover(pen: Pen, box: Box): void {
  const { context } = pen;
  const { ratio } = pen.input.layout.look;
  context.strokeStyle = css(pen.input.palette.ink);
  context.lineWidth = 1.5 * ratio;
  context.setLineDash([3 * ratio, 2 * ratio]);
  strokeBox(context, box, 1.5 * ratio);
  context.setLineDash([]);
}

function drawBand(pen: Pen, box: Box): void {
  const { context } = pen;
  const { ratio } = pen.input.layout.look;
  context.fillStyle = css(pen.input.palette.accent);
  context.globalAlpha = 0.1;
  context.fillRect(box.x, box.y, box.width, box.height);
  context.globalAlpha = 1;
  context.strokeStyle = css(pen.input.palette.accent);
  context.lineWidth = 1.5 * ratio;
  strokeBox(context, box, 0);
}

function drawRouters(pen: Pen, links: LinkLoads): void {
  const { layout, palette } = pen.input;
  const { context } = pen;
  const { ratio } = layout.look;
  const place = meshPlace(layout, links.of);
  if (links.of !== 'elements' || links.columns * links.rows > MOST_ROUTERS) {
    return;
  }
  const side = 2 * place.half;
  const full = pen.input.bars[pen.input.bars.length - 1];
  const end = full && endOfLink(links, full.node, full.way);
  pen.font(11, 400);
  context.lineWidth = ratio;
  for (let row = 0; row < links.rows; ++row) {
    for (let column = 0; column < links.columns; ++column) {
      const { x, y } = place.middle({ column, row });
      const hot = full !== undefined && full.load > 0 && end?.column === column && end.row === row;
      context.fillStyle = css(hot ? palette.ink : palette.surface);
      context.strokeStyle = css(hot ? palette.ink : palette.control);
      context.beginPath();
      context.roundRect(x - place.half + 0.5, y - place.half + 0.5, side - 1, side - 1, 3 * ratio);
      context.fill();
      context.stroke();
      if (side >= 24 * pen.unit) {
        pen.text(`${column},${row}`, x, y + 0.5, css(hot ? palette.paper : palette.ink2), 'center');
      }
    }
  }
}

/** Numbers at links of half the scale and more, outside of the bar. */
function drawLoads(pen: Pen, links: LinkLoads): void {
  const place = meshPlace(pen.input.layout, links.of);
  if (place.cssPitch < NUMBERS_PITCH) {
    return;
  }
  pen.font(12, 650);
  for (const { line, way, half, share, load, arc } of pen.input.bars) {
    if (share >= 0.5 && load > 0 && arc?.arrives !== true) {
      const [dx, dy] = STEPS[way];
      const off = half + (dx === 0 ? 14 : 10) * pen.unit;
      const words = String(Math.round(100 * load));
      pen.text(words, (line[0] + line[2]) / 2 - dy * off, (line[1] + line[3]) / 2 + dx * off, css(pen.input.palette.ink), 'center');
    }
  }
}

/** The number of each hop at its end, but where it would lie over another one. */
function drawHops(pen: Pen): void {
  const { layout, path } = pen.input;
  const taken: Spot[] = [];
  for (const hops of path) {
    hops.slice(1).forEach((place, i) => {
      const spot = layout.middle(place);
      if (taken.every(({ x, y }) => Math.abs(x - spot.x) > 22 * pen.unit || Math.abs(y - spot.y) > 17 * pen.unit)) {
        drawChip(pen, String(i + 1), spot.x, spot.y, 'center');
        taken.push(spot);
      }
    });
  }
}

/** Ways through the array, with the number of each hop. */
function drawPath(pen: Pen): void {
  const { context, input } = pen;
  const { ratio } = input.layout.look;
  const draw = (color: string, width: number) => {
    context.strokeStyle = color;
    context.lineWidth = width * ratio;
    context.lineJoin = 'round';
    for (const hops of input.path) {
      context.beginPath();
      hops.forEach((place, i) => {
        const { x, y } = input.layout.middle(place);
        i === 0 ? context.moveTo(x, y) : context.lineTo(x, y);
      });
      context.stroke();
    }
  };
  draw(css(input.palette.paper), 4);
  draw(css(input.palette.ink), 2);
  drawFires(pen);
  if (input.numbered) {
    drawHops(pen);
  }
}

/** A square of ink where an element fires on the way. */
function drawFires(pen: Pen): void {
  const { context, input } = pen;
  const { pitch, ratio } = input.layout.look;
  const side = Math.max(3 * ratio, Math.round(0.36 * pitch));
  for (const place of input.fires) {
    const { x, y } = input.layout.middle(place);
    context.fillStyle = css(input.palette.paper);
    context.fillRect(x - side / 2 - ratio, y - side / 2 - ratio, side + 2 * ratio, side + 2 * ratio);
    context.fillStyle = css(input.palette.ink);
    context.fillRect(x - side / 2, y - side / 2, side, side);
  }
}

export function drawOverlay(context: Context, input: OverlayInput): void {
  const pen = new Pen(context, input);
  if (input.links !== undefined) {
    drawRouters(pen, input.links);
    drawLoads(pen, input.links);
  }
  drawNumbers(pen);
  if (input.path.length > 0 || input.fires.length > 0) {
    drawPath(pen);
  }
  if (input.hovered !== undefined) {
    drawHover(pen, input.hovered);
  }
  if (input.selected !== undefined) {
    drawRing(pen, input.selected);
  }
  if (input.band !== undefined) {
    drawBand(pen, input.band);
  }
  drawChips(pen);
}

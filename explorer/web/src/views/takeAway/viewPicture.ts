import type { Box, Layout } from '../../base/floorplan/layout';
import { paintWedges, type Brush } from '../../gl/brush';
import { ARC_OUT } from '../../gl/linkShapes';
import { WedgeList } from '../../gl/wedges';
import type { Explorer } from '../../model/explorer';
import { css, PALETTES } from '../../theme/palettes';
import type { Page } from '../context';
import { drawOverlay } from '../floorplan/overlay';
import { addLines, type FloorplanInput } from '../floorplan/renderer';
import type { SceneMaker } from '../floorplan/scene';
import { captionOf, legendOf, type LegendLine } from './legend';
import { legendHeight, LEGEND_WIDTH, LegendPainter } from './paintLegend';
import { ownFontStyle } from './ownFont';
import { paintCells } from './paintCells';
import { saveBlob } from './save';
import { SvgBrush } from './svgBrush';

// In pixels of the page.
const EDGE = 24;
const HEAD = 44;
const AROUND = { left: 44, right: 20, above: 20, below: 34 } as const; // of the array: numbers and arcs

/** What of the canvas is shown: the array and what stands around it, as far as it is seen. */
export function shownBox({ box, look }: Layout, unit: number, links: FloorplanInput['links']): Box {
  const arcs = (i: 0 | 1) => (links?.place.pitch[i] ?? 0) * (ARC_OUT + 0.1);
  const [beside, above] = [links?.loads.wrapColumns ? arcs(0) : 0, links?.loads.wrapRows ? arcs(1) : 0];
  const left = Math.max(0, Math.floor(box.x - AROUND.left * unit - beside));
  const top = Math.max(0, Math.floor(box.y - AROUND.above * unit - above));
  const right = Math.min(look.width, Math.ceil(box.x + box.width + AROUND.right * unit + beside));
  const bottom = Math.min(look.height, Math.ceil(box.y + box.height + AROUND.below * unit + above));
  return { x: left, y: top, width: Math.max(1, right - left), height: Math.max(1, bottom - top) };
}

/** Something to draw on, and how a part of it is put elsewhere. */
interface Board {
  readonly brush: Brush;
  within(box: Box, left: number, top: number, draw: () => void): void;
}

/** Where everything stands, in pixels. */
interface Plan {
  readonly unit: number;
  readonly plan: Box;
  readonly lines: readonly LegendLine[];
  readonly width: number;
  readonly height: number;
}

function planOf(explorer: Explorer, input: FloorplanInput): Plan {
  const { layout } = input.cells;
  const unit = (input.overlay.rem / 16) * layout.look.ratio;
  const plan = shownBox(layout, unit, input.links);
  const lines = legendOf(explorer, layout);
  const height = Math.max(plan.height, legendHeight(lines) * unit) + (HEAD + EDGE) * unit;
  return { unit, plan, lines, width: plan.width + (LEGEND_WIDTH + 3 * EDGE) * unit, height };
}

function drawHead(explorer: Explorer, { brush }: Board, { unit }: Plan, font: string): void {
  const palette = PALETTES[explorer.settings.theme.peek()];
  const { title, words } = captionOf(explorer);
  brush.textAlign = 'left';
  brush.textBaseline = 'middle';
  brush.font = `650 ${15 * unit}px ${font}`;
  brush.fillStyle = css(palette.ink);
  brush.fillText(title, EDGE * unit, (HEAD / 2) * unit);
  const beside = brush.measureText(title).width;
  brush.font = `400 ${13 * unit}px ${font}`;
  brush.fillStyle = css(palette.ink2);
  brush.fillText(words, (EDGE + 12) * unit + beside, (HEAD / 2) * unit);
}

/** The floorplan as the page shows it but for what is pointed at, and its legend. */
function draw(explorer: Explorer, input: FloorplanInput, maker: SceneMaker, board: Board, plan: Plan): void {
  const { brush } = board;
  const { unit } = plan;
  const { font } = input.overlay;
  brush.fillStyle = css(PALETTES[explorer.settings.theme.peek()].paper);
  brush.fillRect(0, 0, plan.width, plan.height);
  drawHead(explorer, board, plan, font);
  board.within(plan.plan, EDGE * unit, HEAD * unit, () => {
    paintCells(brush, maker.make(input.cells), font);
    const list = new WedgeList();
    addLines(list, input);
    paintWedges(brush, list);
    drawOverlay(brush, { ...input.overlay, hovered: undefined, band: undefined });
  });
  const palette = PALETTES[explorer.settings.theme.peek()];
  new LegendPainter(brush, palette, font, plan.plan.width + 2 * EDGE * unit, HEAD * unit, unit).paint(plan.lines);
}

function canvasOf(width: number, height: number): CanvasRenderingContext2D {
  const canvas = document.createElement('canvas');
  canvas.width = Math.ceil(width);
  canvas.height = Math.ceil(height);
  const context = canvas.getContext('2d');
  if (context === null) {
    throw new Error('The browser draws nothing.');
  }
  return context;
}

async function pngOf(explorer: Explorer, input: FloorplanInput, maker: SceneMaker): Promise<Blob> {
  const plan = planOf(explorer, input);
  const brush = canvasOf(plan.width, plan.height);
  const within: Board['within'] = (box, left, top, inner) => {
    brush.save();
    brush.beginPath();
    brush.rect(left, top, box.width, box.height);
    brush.clip();
    brush.translate(left - box.x, top - box.y);
    inner();
    brush.restore();
  };
  draw(explorer, input, maker, { brush, within }, plan);
  const blob = await new Promise<Blob | null>((resolve) => brush.canvas.toBlob(resolve, 'image/png'));
  if (blob === null) {
    throw new Error('The picture is too large for the browser.');
  }
  return blob;
}

async function svgOf(explorer: Explorer, input: FloorplanInput, maker: SceneMaker): Promise<Blob> {
  const plan = planOf(explorer, input);
  const measure = canvasOf(1, 1);
  const brush = new SvgBrush((text, font) => {
    measure.font = font;
    return measure.measureText(text).width;
  });
  const board: Board = { brush, within: (box, left, top, inner) => brush.within(box, left, top, inner) };
  draw(explorer, input, maker, board, plan);
  const { title, words } = captionOf(explorer);
  return new Blob([brush.file(plan.width, plan.height, `${title}, ${words}`, await ownFontStyle())], { type: 'image/svg+xml' });
}

/** Saves what the floorplan shows now; tells what was done. */
export async function saveView({ explorer, floorplan }: Page, format: 'png' | 'svg'): Promise<string> {
  const drawn = floorplan.drawn;
  if (drawn === undefined) {
    throw new Error('Nothing is drawn yet.');
  }
  const { input, maker } = drawn;
  const name = `${captionOf(explorer).title}.view.${format}`;
  saveBlob(await (format === 'png' ? pngOf : svgOf)(explorer, input, maker), name);
  return `${name} is saved.`;
}

import type { PixelTable } from '../../base/floorplan/pixelTable';
import type { Brush } from '../../gl/brush';
import { BLANK, DOT, type CellScene } from '../../gl/cells';
import { css, type Rgb } from '../../theme/palettes';

// The cells once more, as shapes: what the shader decides pixel by pixel, from the same tables.

/** A piece of an axis: which number lies there, from which pixel, and how many. */
interface Run {
  readonly number: number;
  readonly start: number;
  readonly size: number;
}

const WORDS = 4;

/** Pixels after each other that tell the same, but those that tell less than nothing. */
function runsOf(table: PixelTable, tell: (row: (number: 0 | 1, word: number) => number) => number): Run[] {
  const runs: { number: number; start: number; size: number }[] = [];
  for (let pixel = 0; pixel < table.pixels; ++pixel) {
    const number = tell((row, word) => table.words[(row * table.pixels + pixel) * WORDS + word] ?? -1);
    const last = runs[runs.length - 1];
    if (number < 0) {
      continue;
    }
    if (last?.number === number && last.start + last.size === pixel) {
      last.size += 1;
    } else {
      runs.push({ number, start: pixel, size: 1 });
    }
  }
  return runs;
}

/** The units along an axis, with all of those that are seen in part. */
function unitsAlong(table: PixelTable): Run[] {
  return runsOf(table, (at) => at(0, 0)).map((run) => {
    const at = run.start * WORDS;
    return { number: run.number, start: run.start - (table.words[at + 1] ?? 0), size: table.words[at + 2] ?? run.size };
  });
}

const colourOf = (scene: CellScene, row: number, code: number): Rgb => {
  const at = 4 * (row * 256 + code);
  const [red = 0, green = 0, blue = 0] = scene.look.colours.subarray(at, at + 3);
  return [red, green, blue];
};

const alphaOf = (scene: CellScene, row: number, code: number): number => scene.look.colours[4 * (row * 256 + code) + 3] ?? 0;

interface Cell {
  readonly x: number;
  readonly y: number;
  readonly width: number;
  readonly height: number;
}

/** The cells of each code, so that those of one colour are drawn together. */
function cellsByCode(scene: CellScene): ReadonlyMap<number, readonly Cell[]> {
  const cells = new Map<number, Cell[]>();
  const columns = unitsAlong(scene.columns);
  for (const row of unitsAlong(scene.rows)) {
    for (const column of columns) {
      const code = scene.units.codes[row.number * scene.units.columns + column.number] ?? 0;
      const cell = { x: column.start, y: row.start, width: column.size, height: row.size };
      const known = cells.get(code);
      known === undefined ? cells.set(code, [cell]) : known.push(cell);
    }
  }
  return cells;
}

/** A cell of a share of its room, in its middle, as whole pixels have it. */
function shrunk({ x, y, width, height }: Cell, share: number): Cell {
  const side = (size: number) => Math.max(1, Math.floor(size * share + 0.5));
  const [w, h] = [side(width), side(height)];
  return { x: x + Math.trunc((width - w) / 2), y: y + Math.trunc((height - h) / 2), width: w, height: h };
}

function fillCells(brush: Brush, cells: readonly Cell[], color: Rgb, inset: number): void {
  brush.fillStyle = css(color);
  for (const { x, y, width, height } of cells) {
    const [w, h] = [width - 2 * inset, height - 2 * inset];
    if (w > 0 && h > 0) {
      brush.fillRect(x + inset, y + inset, w, h);
    }
  }
}

function paintDigits(brush: Brush, scene: CellScene, code: number, cells: readonly Cell[], font: string): void {
  if (scene.digit === 0 || alphaOf(scene, 2, code) === 0) {
    return;
  }
  brush.font = `650 ${Math.round(0.9 * scene.digit)}px ${font}`;
  brush.textAlign = 'center';
  brush.textBaseline = 'middle';
  brush.fillStyle = css(colourOf(scene, 2, code));
  for (const { x, y, width, height } of cells) {
    brush.fillText(String(alphaOf(scene, 1, code)), x + width / 2, y + height / 2 + 0.5);
  }
}

function paintCode(brush: Brush, scene: CellScene, code: number, cells: readonly Cell[], font: string): void {
  const age = alphaOf(scene, 0, code);
  if (age === BLANK) {
    return;
  }
  const share = age === DOT ? 0.3 : scene.hollow ? (scene.look.sides[age] ?? 1) : 1;
  const drawn = cells.map((cell) => shrunk(cell, share));
  const edged = scene.hollow && age !== DOT;
  if (edged) {
    fillCells(brush, drawn, colourOf(scene, 1, code), 0);
  }
  fillCells(brush, drawn, colourOf(scene, 0, code), edged ? scene.edge : 0);
  if (age !== DOT) {
    paintDigits(brush, scene, code, drawn, font);
  }
}

function paintOutlines(brush: Brush, scene: CellScene): void {
  const along = (table: PixelTable) => runsOf(table, (at) => at(1, 0));
  const { edge } = scene;
  brush.strokeStyle = css(scene.look.outline);
  brush.lineWidth = edge;
  for (const row of along(scene.rows)) {
    for (const column of along(scene.columns)) {
      const isBusy = (scene.busy.codes[row.number * scene.busy.columns + column.number] ?? 0) !== 0;
      brush.setLineDash(isBusy ? [] : [2 * edge, 2 * edge]);
      brush.strokeRect(column.start + edge / 2, row.start + edge / 2, column.size - edge, row.size - edge);
    }
  }
  brush.setLineDash([]);
}

/** The square switches of the viewer's reading. */
function paintSwitches(brush: Brush, scene: CellScene): void {
  const along = (table: PixelTable) => runsOf(table, (at) => at(1, 2));
  for (const row of along(scene.rows)) {
    for (const column of along(scene.columns)) {
      const code = scene.clusters.codes[row.number * scene.clusters.columns + column.number] ?? 0;
      brush.fillStyle = css(colourOf(scene, 3, code));
      brush.fillRect(column.start, row.start, column.size, row.size);
    }
  }
}

/** Paper, outlines of clusters, cells and the viewer's switches. */
export function paintCells(brush: Brush, scene: CellScene, font: string): void {
  if (scene.sheet !== undefined) {
    const [x, y, width, height, radius] = scene.sheet;
    brush.fillStyle = css(scene.look.paper);
    brush.beginPath();
    brush.roundRect(x, y, width, height, radius);
    brush.fill();
  }
  if (scene.outlines) {
    paintOutlines(brush, scene);
  }
  cellsByCode(scene).forEach((cells, code) => paintCode(brush, scene, code, cells, font));
  paintSwitches(brush, scene);
}

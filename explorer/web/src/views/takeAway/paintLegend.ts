import type { Brush } from '../../gl/brush';
import { css, inkOn, type Palette, type Rgb } from '../../theme/palettes';
import type { LegendLine } from './legend';

const LINE = 22; // of text of a unit of 1
const TITLE = 30;
export const LEGEND_WIDTH = 208;

/** How high a legend is, in units. */
export const legendHeight = (lines: readonly LegendLine[]): number =>
  lines.reduce((sum, line) => sum + ('title' in line ? TITLE : 'scale' in line ? 2 * LINE : LINE), 0);

/** Draws the lines of a legend below each other. */
export class LegendPainter {
  private y: number;

  /** At a spot; `unit` is how many pixels a pixel of the page is. */
  constructor(
    private readonly brush: Brush,
    private readonly palette: Palette,
    private readonly font: string,
    private readonly x: number,
    top: number,
    private readonly unit: number,
  ) {
    this.y = top;
  }

  paint(lines: readonly LegendLine[]): void {
    lines.forEach((line) => this.line(line));
  }

  private line(line: LegendLine): void {
    const high = ('title' in line ? TITLE : LINE) * this.unit;
    const middle = this.y + high / 2;
    if ('title' in line) {
      this.text(line.title, 0, middle + 3 * this.unit, this.palette.ink3, 600);
    } else if ('note' in line) {
      this.text(line.note, 0, middle, this.palette.ink2);
    } else if ('scale' in line) {
      this.scale(line, middle);
      this.y += LINE * this.unit;
    } else {
      this.sample(line, middle);
    }
    this.y += high;
  }

  private sample(line: Exclude<LegendLine, { title: string } | { note: string } | { scale: readonly Rgb[] }>, y: number): void {
    let beside = 24;
    if ('swatch' in line) {
      this.square(line.swatch, 0, y, 13, line.edge);
      if (line.digit !== undefined) {
        this.font_(9, 700);
        this.words(line.digit, 6.5, y, inkOn(line.swatch), 'center');
      }
    } else if ('dot' in line) {
      this.square(line.dot, 4, y, 4, undefined);
    } else if ('ages' in line) {
      line.ages.forEach((fill, age) => this.square(fill, 17 * age, y, 14 - age, line.edge));
      beside = 17 * line.ages.length + 6;
    } else {
      this.wedge(line.wedge, y);
      beside = 64;
    }
    this.text(line.text, beside, y, this.palette.ink);
    if ('number' in line && line.number !== undefined) {
      this.font_(12, 400);
      this.words(line.number, LEGEND_WIDTH, y, this.palette.ink2, 'right');
    }
  }

  private scale(line: Extract<LegendLine, { scale: readonly Rgb[] }>, y: number): void {
    const wide = LEGEND_WIDTH / line.scale.length;
    line.scale.forEach((color, i) => {
      this.brush.fillStyle = css(color);
      this.brush.fillRect(this.x + i * wide * this.unit, y - 6 * this.unit, (wide + 0.5) * this.unit, 12 * this.unit);
    });
    const below = y + 18 * this.unit;
    this.text(line.low, 0, below, this.palette.ink);
    if (line.middle !== undefined) {
      this.words(line.middle, LEGEND_WIDTH / 2, below, this.palette.ink3, 'center');
    }
    this.words(line.high, LEGEND_WIDTH, below, this.palette.ink, 'right');
  }

  private wedge(strength: number, y: number): void {
    const { brush, unit, x } = this;
    brush.fillStyle = css(this.palette.ink);
    brush.globalAlpha = strength;
    brush.beginPath();
    [[0, -1.8], [52, -0.4], [52, 0.4], [0, 1.8]].forEach(([along = 0, across = 0], i) => {
      const spot = [x + along * unit, y + across * unit] as const;
      i === 0 ? brush.moveTo(...spot) : brush.lineTo(...spot);
    });
    brush.closePath();
    brush.fill();
    brush.globalAlpha = 1;
  }

  private square(fill: Rgb, x: number, y: number, side: number, edge: Rgb | undefined): void {
    const { brush, unit } = this;
    const [left, top, size] = [this.x + x * unit, y - (side / 2) * unit, side * unit];
    brush.fillStyle = css(fill);
    brush.fillRect(left, top, size, size);
    if (edge !== undefined) {
      brush.strokeStyle = css(edge);
      brush.lineWidth = unit;
      brush.strokeRect(left + unit / 2, top + unit / 2, size - unit, size - unit);
    }
  }

  private font_(size: number, weight: number): void {
    this.brush.font = `${weight} ${size * this.unit}px ${this.font}`;
  }

  private text(words: string, x: number, y: number, color: Rgb, weight = 400): void {
    this.font_(12, weight);
    this.words(words, x, y, color, 'left');
  }

  private words(words: string, x: number, y: number, color: Rgb, align: CanvasTextAlign): void {
    this.brush.textAlign = align;
    this.brush.textBaseline = 'middle';
    this.brush.fillStyle = css(color);
    this.brush.fillText(words, this.x + x * this.unit, y);
  }
}

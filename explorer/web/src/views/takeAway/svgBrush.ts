import type { Box } from '../../base/floorplan/layout';
import type { Brush } from '../../gl/brush';

const short = (number: number): string => String(Number(number.toFixed(2)));
const escaped = (text: string): string =>
  text.replaceAll('&', '&amp;').replaceAll('<', '&lt;').replaceAll('>', '&gt;').replaceAll('"', '&quot;');

/** `font` as a canvas has it: weight, size in pixels, families. */
function fontParts(font: string): { readonly weight: string; readonly size: string; readonly family: string } {
  const [, weight, size, family] = /^(\d+) ([\d.]+)px (.*)$/.exec(font) ?? [];
  return { weight: weight ?? '400', size: size ?? '12', family: family ?? 'sans-serif' };
}

const ANCHORS: Partial<Record<CanvasTextAlign, string>> = { center: 'middle', right: 'end', end: 'end' };

/** Draws into a file of shapes what would be drawn on a canvas. */
export class SvgBrush implements Brush {
  fillStyle: string = '#000';
  strokeStyle: string = '#000';
  lineWidth = 1;
  lineJoin: CanvasLineJoin = 'miter';
  globalAlpha = 1;
  font = '400 12px sans-serif';
  textAlign: CanvasTextAlign = 'left';
  textBaseline: CanvasTextBaseline = 'alphabetic';
  private readonly parts: string[] = [];
  private path = '';
  private dash: readonly number[] = [];
  /** Rectangles of one colour that follow each other are one shape. */
  private filled: { readonly look: string; path: string } | undefined;

  /** `widthOf` measures a text in a font. */
  constructor(private readonly widthOf: (text: string, font: string) => number) {}

  /** A file of a size; `fonts` are those that it brings along. */
  file(width: number, height: number, title: string, fonts = ''): string {
    this.flush();
    const size = `width="${short(width)}" height="${short(height)}" viewBox="0 0 ${short(width)} ${short(height)}"`;
    return `<svg xmlns="http://www.w3.org/2000/svg" ${size}>\n<title>${escaped(title)}</title>\n${fonts}${this.parts.join('\n')}\n</svg>\n`;
  }

  /** What `draw` draws within a box is put elsewhere, and nothing that is outside of it. */
  within({ x, y, width, height }: Box, left: number, top: number, draw: () => void): void {
    this.flush();
    const [w, h] = [short(width), short(height)];
    this.parts.push(`<svg x="${short(left)}" y="${short(top)}" width="${w}" height="${h}" viewBox="${short(x)} ${short(y)} ${w} ${h}">`);
    draw();
    this.flush();
    this.parts.push('</svg>');
  }

  beginPath(): void {
    this.path = '';
  }

  moveTo(x: number, y: number): void {
    this.path += `M${short(x)} ${short(y)}`;
  }

  lineTo(x: number, y: number): void {
    this.path += `L${short(x)} ${short(y)}`;
  }

  closePath(): void {
    this.path += 'Z';
  }

  roundRect(x: number, y: number, width: number, height: number, radii?: number | DOMPointInit | Iterable<number | DOMPointInit>): void {
    const r = Math.min(typeof radii === 'number' ? radii : 0, width / 2, height / 2);
    const arc = (dx: number, dy: number) => `a${short(r)} ${short(r)} 0 0 1 ${short(dx)} ${short(dy)}`;
    this.path +=
      `M${short(x + r)} ${short(y)}h${short(width - 2 * r)}${arc(r, r)}v${short(height - 2 * r)}${arc(-r, r)}` +
      `h${short(2 * r - width)}${arc(-r, -r)}v${short(2 * r - height)}${arc(r, -r)}Z`;
  }

  fill(): void {
    this.flush();
    this.parts.push(`<path ${this.fillLook()} d="${this.path}"/>`);
  }

  stroke(): void {
    this.flush();
    this.parts.push(`<path ${this.strokeLook()} d="${this.path}"/>`);
  }

  fillRect(x: number, y: number, width: number, height: number): void {
    const look = this.fillLook();
    if (this.filled?.look !== look) {
      this.flush();
      this.filled = { look, path: '' };
    }
    this.filled.path += `M${short(x)} ${short(y)}h${short(width)}v${short(height)}h${short(-width)}Z`;
  }

  strokeRect(x: number, y: number, width: number, height: number): void {
    this.flush();
    const box = `x="${short(x)}" y="${short(y)}" width="${short(width)}" height="${short(height)}"`;
    this.parts.push(`<rect ${this.strokeLook()} ${box}/>`);
  }

  setLineDash(dash: Iterable<number>): void {
    this.dash = [...dash];
  }

  fillText(text: string, x: number, y: number): void {
    this.flush();
    const { weight, size, family } = fontParts(this.font);
    const anchor = ANCHORS[this.textAlign];
    // Not every reader knows lines through the middle of letters: the baseline is told itself.
    const down = this.textBaseline === 'middle' ? 0.36 * Number(size) : 0;
    this.parts.push(
      `<text x="${short(x)}" y="${short(y + down)}" ${this.fillLook()} font-family="${escaped(family)}" font-size="${size}" ` +
        `font-weight="${weight}"${anchor === undefined ? '' : ` text-anchor="${anchor}"`}>${escaped(text)}</text>`,
    );
  }

  measureText(text: string): TextMetrics {
    return { width: this.widthOf(text, this.font) } as TextMetrics;
  }

  private fillLook(): string {
    return `fill="${this.fillStyle}"${this.globalAlpha === 1 ? '' : ` fill-opacity="${short(this.globalAlpha)}"`}`;
  }

  private strokeLook(): string {
    const dash = this.dash.length === 0 ? '' : ` stroke-dasharray="${this.dash.map(short).join(' ')}"`;
    const join = this.lineJoin === 'miter' ? '' : ` stroke-linejoin="${this.lineJoin}"`;
    const alpha = this.globalAlpha === 1 ? '' : ` stroke-opacity="${short(this.globalAlpha)}"`;
    return `fill="none" stroke="${this.strokeStyle}" stroke-width="${short(this.lineWidth)}"${dash}${join}${alpha}`;
  }

  private flush(): void {
    if (this.filled !== undefined) {
      this.parts.push(`<path ${this.filled.look} d="${this.filled.path}"/>`);
      this.filled = undefined;
    }
  }
}

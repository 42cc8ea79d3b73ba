// What all strips of the timeline share: where they draw, in which colours, and for which cycles.

/** Colours of the theme, as CSS writes them. */
export interface StripColours {
  readonly paper: string;
  readonly surface: string;
  readonly line: string;
  readonly control: string;
  readonly ink: string;
  readonly ink2: string;
  readonly ink3: string;
  readonly accent: string;
  readonly wash: string;
  readonly danger: string;
  /** Of threads modulo 6, and of what belongs to none of those that are told apart. */
  readonly threads: readonly string[];
  /** The edge of ticks whose colour may be too close to the paper; none where none is. */
  readonly edge: string | undefined;
}

/** A strip's place on a canvas, in CSS pixels; `ratio` device pixels are one of them. */
export interface StripBox {
  readonly y: number;
  readonly width: number;
  readonly height: number;
  readonly ratio: number;
}

export type Pen = CanvasRenderingContext2D;

/** To the nearest edge between device pixels, so that neighbours meet without a seam. */
export const snapped = (at: number, ratio: number): number => Math.round(at * ratio) / ratio;

/** Calls `draw` with what is inside of the box only. */
export function clipped(g: Pen, box: StripBox, draw: () => void): void {
  g.save();
  g.beginPath();
  g.rect(0, box.y, box.width, box.height);
  g.clip();
  draw();
  g.restore();
}

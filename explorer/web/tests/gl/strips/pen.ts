// Writes down what is drawn, so that strips are tested without a canvas.

export interface Drawn {
  readonly what: string;
  readonly at: readonly number[];
  readonly text?: string;
  readonly style: string;
  readonly alpha: number;
}

const CALLS = ['rect', 'roundRect', 'fillRect', 'strokeRect', 'moveTo', 'lineTo', 'fill', 'stroke', 'clip'] as const;

/** A pen of 6 pixels a letter. */
export function recordingPen(): { g: CanvasRenderingContext2D; drawn: Drawn[] } {
  const drawn: Drawn[] = [];
  const state = { fillStyle: '', strokeStyle: '', globalAlpha: 1 };
  const note = (what: string, at: readonly number[], text?: string) => {
    const style = what.startsWith('stroke') ? state.strokeStyle : state.fillStyle;
    drawn.push({ what, at, style, alpha: state.globalAlpha, ...(text === undefined ? {} : { text }) });
  };
  const pen: Record<string, unknown> = Object.assign(state, {
    save: () => {},
    restore: () => {},
    beginPath: () => {},
    closePath: () => {},
    setLineDash: () => {},
    measureText: (text: string) => ({ width: text.length * 6 }),
    fillText: (text: string, x: number, y: number) => note('fillText', [x, y], text),
    strokeText: () => {},
  });
  for (const call of CALLS) {
    pen[call] = (...at: number[]) => note(call, at);
  }
  return { g: pen as unknown as CanvasRenderingContext2D, drawn };
}

export const only = (drawn: readonly Drawn[], what: string): Drawn[] => drawn.filter((d) => d.what === what);

// One frame for all that draws: whoever asks several times before it is drawn once.

type Draw = () => void;

const waiting = new Set<Draw>();
let handle: number | undefined;

function drawAll(): void {
  handle = undefined;
  const draws = [...waiting];
  waiting.clear();
  for (const draw of draws) {
    try {
      draw();
    } catch (error) {
      reportError(error); // the others are drawn all the same
    }
  }
}

export function requestDraw(draw: Draw): void {
  waiting.add(draw);
  handle ??= requestAnimationFrame(drawAll);
}

export function forgetDraw(draw: Draw): void {
  waiting.delete(draw);
}

export const isDrawing = (): boolean => waiting.size > 0;

// One frame for all that draws: whoever asks several times before it is drawn once.

type Draw = () => void;

const waiting = new Set<Draw>();
let handle: number | undefined;

function drawAll(): void {
  handle = undefined;
  const draws = [...waiting];
  waiting.clear();
  draws.forEach((draw) => draw());
}

export function requestDraw(draw: Draw): void {
  waiting.add(draw);
  handle ??= requestAnimationFrame(drawAll);
}

export function forgetDraw(draw: Draw): void {
  waiting.delete(draw);
}

export const isDrawing = (): boolean => waiting.size > 0;

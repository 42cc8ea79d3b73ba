import { effect } from '@preact/signals';

import type { Pen } from '../../gl/strips/strip';
import { forgetDraw, requestDraw } from '../frames';
import { cycleTicks, drawOver } from './drawOver';
import { drawStrips } from './drawStrips';
import type { TimelineScene } from './scene';
import type { StepRuler } from './stepRuler';

function fitted(canvas: HTMLCanvasElement, width: number, height: number, ratio: number): Pen | undefined {
  const [across, down] = [Math.round(width * ratio), Math.round(height * ratio)];
  if (canvas.width !== across || canvas.height !== down) {
    canvas.width = across;
    canvas.height = down;
  }
  const g = canvas.getContext('2d') ?? undefined;
  g?.setTransform(ratio, 0, 0, ratio, 0, 0);
  return g;
}

/** Draws a layer when something that it shows has changed. */
class Layer {
  private end: () => void = () => undefined;
  private readonly paint: () => void;

  constructor(canvas: HTMLCanvasElement, scene: TimelineScene, draw: (g: Pen) => void) {
    this.paint = () => {
      const { width, height, ratio } = scene.size.peek();
      const g = width > 0 && height > 0 ? fitted(canvas, width, height, ratio) : undefined;
      if (g !== undefined) {
        draw(g);
      }
    };
  }

  /** `read` reads all signals that the layer depends on. */
  follow(read: () => void): void {
    this.end = effect(() => {
      read();
      requestDraw(this.paint);
    });
  }

  stop(): void {
    this.end();
    forgetDraw(this.paint);
  }
}

/** The strips, and over them what moves at every step: each on its own canvas. Returns what ends it. */
export function followScene(
  scene: TimelineScene,
  steps: StepRuler,
  canvases: { readonly strips: HTMLCanvasElement; readonly over: HTMLCanvasElement },
): () => void {
  const strips = new Layer(canvases.strips, scene, (g) => drawStrips(g, scene.strips.peek()));
  const over = new Layer(canvases.over, scene, (g) => {
    const shown = scene.over.peek();
    drawOver(g, shown, shown.unit === 'cycle' ? cycleTicks(shown) : steps.ticks.peek());
  });
  strips.follow(() => scene.strips.value);
  over.follow(() => [scene.over.value, steps.ticks.value]);
  const wants = effect(() => scene.wantData());
  return () => {
    wants();
    strips.stop();
    over.stop();
  };
}

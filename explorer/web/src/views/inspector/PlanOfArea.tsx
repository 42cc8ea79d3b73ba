import { useEffect, useRef } from 'preact/hooks';

import { elementTouch } from '../../base/picture';
import { columnsOf, type Shape } from '../../base/shape';
import { thousands } from '../../base/words';
import type { Area } from '../../model/unitSums';
import { css, ELEMENT_FILLS, ELEMENT_SIDES, mix, PALETTES, threadColours } from '../../theme/palettes';
import type { Page } from '../context';
import { usePage } from '../context';
import { Section } from './parts';

const MOST_HEIGHT = 17.5; // rem

interface Grid {
  readonly pitch: number;
  /** Room between domains. */
  readonly gap: number;
  readonly width: number;
  readonly height: number;
}

function gridOf(shape: Shape, area: Area, width: number, mostHeight: number): Grid {
  const columns = area.last.column - area.first.column + 1;
  const rows = area.last.row - area.first.row + 1;
  const across = columns + 0.4 * Math.floor((columns - 1) / shape.pes[0]);
  const down = rows + 0.4 * Math.floor((rows - 1) / shape.pes[1]);
  const pitch = Math.max(2, Math.min(20, Math.floor(Math.min(width / across, mostHeight / down))));
  return { pitch, gap: Math.round(0.4 * pitch), width: across * pitch, height: Math.ceil(down * pitch) };
}

function drawCell(g: CanvasRenderingContext2D, page: Page, code: number, x: number, y: number, room: number): void {
  const { settings, view } = page.explorer;
  const palette = PALETTES[settings.theme.peek()];
  const touch = elementTouch(code);
  if (touch === undefined) {
    const dot = Math.max(1, Math.round(room * 0.3));
    g.fillStyle = css(palette.idle);
    g.fillRect(x + Math.floor((room - dot) / 2), y + Math.floor((room - dot) / 2), dot, dot);
    return;
  }
  const colour = threadColours(settings.theme.peek(), view.asViewer.peek())[touch.thread] ?? palette.ink;
  const side = Math.max(1, Math.round(room * (ELEMENT_SIDES[touch.age] ?? 0.72)));
  const at = Math.floor((room - side) / 2);
  g.fillStyle = css(colour);
  g.fillRect(x + at, y + at, side, side);
  if (touch.age > 0 && side > 2) {
    g.fillStyle = css(mix(colour, palette.surface, ELEMENT_FILLS[touch.age] ?? 0.38));
    g.fillRect(x + at + 1, y + at + 1, side - 2, side - 2);
  }
}

function draw(canvas: HTMLCanvasElement, page: Page, shape: Shape, area: Area, grid: Grid): void {
  const g = canvas.getContext('2d');
  const picture = page.explorer.playback.picture.peek();
  if (g === null) {
    return;
  }
  const ratio = devicePixelRatio;
  canvas.width = Math.round(grid.width * ratio);
  canvas.height = Math.round(grid.height * ratio);
  g.setTransform(ratio, 0, 0, ratio, 0, 0);
  const { first, last } = area;
  for (let row = first.row; picture !== undefined && row <= last.row; ++row) {
    for (let column = first.column; column <= last.column; ++column) {
      const [c, r] = [column - first.column, last.row - row];
      const x = c * grid.pitch + Math.floor(c / shape.pes[0]) * grid.gap;
      const y = r * grid.pitch + Math.floor(r / shape.pes[1]) * grid.gap;
      drawCell(g, page, picture.elements[row * columnsOf(shape) + column] ?? 0, x, y, grid.pitch - 2);
    }
  }
}

/** The elements of an area as they are now, by thread. */
export function PlanOfArea({ shape, area }: { readonly shape: Shape; readonly area: Area }) {
  const page = usePage();
  const canvas = useRef<HTMLCanvasElement>(null);
  const { playback, settings, view } = page.explorer;
  const picture = playback.picture.value;
  const asViewer = view.asViewer.value;
  const theme = settings.theme.value;
  useEffect(() => {
    const element = canvas.current;
    if (element !== null) {
      const rem = parseFloat(getComputedStyle(document.documentElement).fontSize);
      const room = element.parentElement?.clientWidth ?? 300;
      const grid = gridOf(shape, area, room - 2 * rem, MOST_HEIGHT * rem);
      element.style.width = `${grid.width}px`;
      element.style.height = `${grid.height}px`;
      draw(element, page, shape, area, grid);
    }
  }, [page, shape, area.first, area.last, picture, asViewer, theme]);
  return (
    <Section title={`Its PEs at cycle ${thousands(playback.now.value.cycle)}`} aside="by thread">
      <canvas class="plan-of-area" ref={canvas} aria-hidden="true" />
    </Section>
  );
}

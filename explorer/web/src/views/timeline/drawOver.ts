import { ticksOf } from '../../base/ticks';
import { cycleAt } from '../../base/timeScale';
import { thousands } from '../../base/words';
import { drawFrame, drawHits } from '../../gl/strips/overview';
import { drawHover, drawPlayhead, playheadTakes } from '../../gl/strips/playhead';
import { drawRangeEdges } from '../../gl/strips/range';
import { drawMark, drawRuler, type RulerTick, type Taken } from '../../gl/strips/ruler';
import { clipped, type Pen, type StripBox } from '../../gl/strips/strip';
import type { StripRow } from '../../base/stripRows';
import { boxBelow, boxOf } from './drawStrips';
import type { OverScene } from './scene';

const LABEL_ROOM = 110; // pixels at 16 px text

export interface RulerTicks {
  readonly labelled: readonly RulerTick[];
  readonly small: readonly bigint[];
}

/** How many labels a ruler has room for. */
export const labelsIn = (width: number, rem: number): number =>
  Math.max(4, Math.floor(width / ((LABEL_ROOM * rem) / 16)));

/** The round cycles of a window. */
export function cycleTicks(scene: OverScene): RulerTicks {
  const { view, size } = scene;
  const last = cycleAt(view, size.width, size.width);
  const { major, minor } = ticksOf(view.start, last, labelsIn(size.width, size.rem));
  return { labelled: major.map((at) => ({ at, text: thousands(at) })), small: minor };
}

/** What the playhead's chip says. */
const chipText = (scene: OverScene): string => thousands(scene.unit === 'cycle' ? scene.cycle : scene.step);

function rulerRow(g: Pen, scene: OverScene, box: StripBox, ticks: RulerTicks): void {
  const { size, view, colours } = scene;
  const taken: Taken[] = [playheadTakes(g, box, size.rem, view, scene.cycle, chipText(scene))];
  for (const mark of scene.marks) {
    taken.push(drawMark(g, box, size.rem, view, { at: mark.cycle, name: mark.name }, colours));
  }
  drawRuler(g, box, size.rem, view, ticks, taken, colours);
}

const rowOf = (scene: OverScene, kind: StripRow['kind']): StripRow | undefined =>
  scene.layout.rows.find((row) => row.kind === kind);

/** Frame, ruler, range, playhead and pointer: what changes at every step. */
export function drawOver(g: Pen, scene: OverScene, ticks: RulerTicks): void {
  const { size, view, colours } = scene;
  g.clearRect(0, 0, size.width, size.height);
  const overview = rowOf(scene, 'overview');
  const ruler = rowOf(scene, 'ruler');
  if (overview !== undefined) {
    const box = boxOf(scene, overview);
    drawFrame(g, box, size.rem, scene.whole, view, colours);
    if (scene.hits !== undefined) {
      drawHits(g, box, size.rem, scene.whole, scene.hits, colours);
    }
  }
  if (ruler === undefined) {
    return;
  }
  const box = boxOf(scene, ruler);
  const below = boxBelow(scene);
  clipped(g, box, () => rulerRow(g, scene, box, ticks));
  if (scene.range !== undefined) {
    const { range } = scene;
    clipped(g, below, () => drawRangeEdges(g, below, size.rem, view, range, colours));
  }
  if (scene.hover !== undefined) {
    drawHover(g, scene.hover, box.y + box.height, size.height, colours);
  }
  drawPlayhead(g, box, size.height, size.rem, view, scene.cycle, chipText(scene), colours);
}

import { bandRange, drawBand, drawTicks } from '../../gl/strips/lane';
import { drawCount, highestCount } from '../../gl/strips/counts';
import { drawOverview, drawPhases, drawTorn, drawUnread } from '../../gl/strips/overview';
import { drawWash } from '../../gl/strips/range';
import { drawLevels, drawLine, drawStack, highestOf, sumsOf } from '../../gl/strips/stack';
import { clipped, type Pen, type StripBox } from '../../gl/strips/strip';
import type { StackData } from '../../base/stripData';
import type { StripRow } from '../../base/stripRows';
import type { Activity } from '../../model/activity';
import type { EventType } from '../../protocol/questions';
import type { Frame, StripScene } from './scene';

export const boxOf = (frame: Frame, row: StripRow): StripBox => ({
  y: row.y,
  width: frame.size.width,
  height: row.height,
  ratio: frame.size.ratio,
});

/** The part of the strips below the overview. */
export function boxBelow(frame: Frame): StripBox {
  const top = frame.layout.rows[0]?.height ?? 0;
  return { ...frame.size, y: top, height: Math.max(0, frame.size.height - top) };
}

/** The stack that is drawn large, and the colours of its parts. */
export function mainStack(scene: StripScene, activity: Activity): readonly [StackData, readonly string[]] {
  return activity.by === 'type'
    ? [activity.types, scene.typeFills]
    : [activity.stacks[scene.main], scene.colours.threads];
}

function drawActivity(g: Pen, scene: StripScene, box: StripBox): void {
  drawLevels(g, box, scene.colours);
  if (scene.activity === undefined) {
    return;
  }
  const [stack, fills] = mainStack(scene, scene.activity);
  const highest = highestOf(stack, scene.view);
  drawStack(g, box, scene.view, stack, highest, fills);
  const line = stack.worst ?? (scene.colours.edge === undefined ? undefined : sumsOf(stack));
  if (line !== undefined) {
    drawLine(g, box, scene.view, stack, line, highest, scene.colours);
  }
}

function drawLane(g: Pen, scene: StripScene, row: StripRow, box: StripBox): void {
  const data = scene.lanes.get(row.key);
  if (data === undefined) {
    return;
  }
  if ('ticks' in data) {
    drawTicks(g, box, scene.view, data.ticks, scene.colours);
    return;
  }
  const range = bandRange(data.band, scene.view);
  if (range !== undefined) {
    drawBand(g, box, scene.view, data.band, range, scene.colours);
  }
}

function drawWhole(g: Pen, scene: StripScene, box: StripBox): void {
  const { overview, colours, whole, size } = scene;
  if (overview !== undefined) {
    const [stack, fills] = mainStack(scene, overview);
    drawOverview(g, box, whole, stack, highestOf(stack, whole), fills);
  }
  drawPhases(g, box, whole, scene.phases, colours);
  if (scene.read < 1) {
    drawUnread(g, box, size.rem, size.width * scene.read, colours);
  }
  if (scene.torn !== undefined) {
    drawTorn(g, box, size.rem, scene.torn, colours);
  }
}

function drawRow(g: Pen, scene: StripScene, row: StripRow): void {
  const box = boxOf(scene, row);
  switch (row.kind) {
    case 'overview':
      return drawWhole(g, scene, box);
    case 'activity':
      return drawActivity(g, scene, box);
    case 'count': {
      const data = scene.activity?.counts[row.key as EventType];
      return data && drawCount(g, box, scene.view, data, highestCount(data, scene.view), scene.colours);
    }
    case 'lane':
      return drawLane(g, scene, row, box);
    case 'ruler':
      return undefined;
  }
}

function drawRules(g: Pen, scene: StripScene, rows: readonly StripRow[]): void {
  g.fillStyle = scene.colours.line;
  for (const row of rows) {
    g.fillRect(0, row.y + row.height - 1, scene.size.width, 1);
  }
}

/** All strips but what moves with the playhead and the pointer. */
export function drawStrips(g: Pen, scene: StripScene): void {
  const { size, layout } = scene;
  g.clearRect(0, 0, size.width, size.height);
  if (scene.range !== undefined) {
    drawWash(g, boxBelow(scene), scene.view, scene.range, scene.colours.wash);
  }
  const staying = layout.rows.filter((row) => row.y + row.height <= layout.scrollTop);
  const scrolling = layout.rows.filter((row) => !staying.includes(row) && row.y < size.height);
  const below = { ...boxBelow(scene), y: layout.scrollTop, height: size.height - layout.scrollTop };
  clipped(g, below, () => {
    scrolling.forEach((row) => clipped(g, boxOf(scene, row), () => drawRow(g, scene, row)));
    drawRules(g, scene, scrolling);
  });
  staying.forEach((row) => clipped(g, boxOf(scene, row), () => drawRow(g, scene, row)));
  drawRules(g, scene, staying);
}

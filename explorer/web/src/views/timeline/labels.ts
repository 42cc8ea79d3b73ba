import { visibleBins, widthOf } from '../../base/stripData';
import type { StripRow } from '../../base/stripRows';
import { capital, counted, rangeText, thousands } from '../../base/words';
import { highestCount } from '../../gl/strips/counts';
import { bandRange } from '../../gl/strips/lane';
import { highestOf } from '../../gl/strips/stack';
import { pieceText } from '../../model/selectionStore';
import type { LaneData } from '../../model/timeFeeds';
import type { Lane } from '../../model/timeStore';
import type { EventType } from '../../protocol/questions';
import { mainStack } from './drawStrips';
import { TYPE_NAMES } from './rows';
import type { StripScene, TimelineScene } from './scene';

/** Numbers of an axis: whole ones as they are, others to one place. */
const short = (value: number): string =>
  thousands(Number.isInteger(value) || value >= 100 ? Math.round(value) : Math.round(value * 10) / 10);

/** What stands at the right of a strip's name. */
export interface Label {
  readonly name: string;
  readonly sub: string;
}

export const laneName = (lane: Lane): string =>
  'counter' in lane ? lane.counter + (lane.place === undefined ? '' : ` at ${lane.place.join()}`) : capital(pieceText(lane.piece));

const WORDS: Readonly<Record<string, readonly [string, string]>> = {
  pe: ['fire', 'fires'],
  switch: ['sent', 'sent'],
  link: ['message', 'messages'],
};

function laneSub(lane: Lane, data: LaneData | undefined, scene: StripScene): string {
  if (data === undefined) {
    return '';
  }
  if ('band' in data) {
    const range = bandRange(data.band, scene.view);
    return range === undefined ? '' : `max ${short(range[1])}`;
  }
  const [first, end] = visibleBins(data.ticks.buckets, scene.view);
  const count = data.ticks.count.subarray(first, end).reduce((sum, value) => sum + value, 0);
  const [one, many] = WORDS['piece' in lane ? (Object.keys(lane.piece)[0] ?? '') : ''] ?? ['event', 'events'];
  return counted(count, one, many);
}

/** "max 189 a cycle"; where the index knows no single cycles, over how many it is a mean. */
function activitySub(scene: StripScene): string {
  if (scene.activity === undefined) {
    return '';
  }
  const [stack] = mainStack(scene, scene.activity);
  const highest = highestOf(stack, scene.view);
  const over = stack.worst === undefined ? widestOf(scene) : scene.activity.worstCycles;
  return over > 1 ? `max ${short(highest)} a cycle over ${thousands(over)}` : `max ${short(highest)} a cycle`;
}

function widestOf(scene: StripScene): number {
  const buckets = scene.activity?.buckets;
  return buckets === undefined || buckets.edges.length < 2 ? 1 : widthOf(buckets, 0);
}

/** What the gutter says about a strip. */
export function labelOf(scene: TimelineScene, row: StripRow, lanes: ReadonlyMap<string, Lane>): Label {
  const shown = scene.strips.value;
  switch (row.kind) {
    case 'overview': {
      const { first, last } = scene.page.timeline.mover.bounds;
      return { name: 'Whole run', sub: rangeText(first, last) };
    }
    case 'ruler':
      return { name: scene.page.explorer.time.unit.value === 'cycle' ? 'Cycle' : 'Step', sub: '' };
    case 'activity':
      return {
        name: shown.by === 'type' && row.key === 'all' ? 'Events' : TYPE_NAMES[shown.main],
        sub: activitySub(shown),
      };
    case 'count': {
      const data = shown.activity?.counts[row.key as EventType];
      return {
        name: TYPE_NAMES[row.key as EventType],
        sub: data === undefined ? '' : `max ${short(highestCount(data, shown.view))}`,
      };
    }
    case 'lane': {
      const lane = lanes.get(row.key);
      return lane === undefined
        ? { name: '', sub: '' }
        : { name: laneName(lane), sub: laneSub(lane, shown.lanes.get(row.key), shown) };
    }
  }
}

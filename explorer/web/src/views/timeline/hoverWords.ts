import { binsOf, visibleBins, type Buckets } from '../../base/stripData';
import type { StripRow } from '../../base/stripRows';
import { cycleAt } from '../../base/timeScale';
import { counted, rangeText, thousands } from '../../base/words';
import type { Activity } from '../../model/activity';
import type { LaneData } from '../../model/timeFeeds';
import type { EventType } from '../../protocol/questions';
import { mainStack } from './drawStrips';
import type { StripScene } from './scene';

const WORDS: Readonly<Record<EventType, readonly [string, string]>> = {
  fire: ['fire', 'fires'],
  send: ['message', 'messages'],
  switch: ['transmission', 'transmissions'],
};

/** The bucket in which a cycle lies. */
function binAt(buckets: Buckets, cycle: bigint): number | undefined {
  const [first, end] = visibleBins(buckets, { start: cycle, fraction: 0, span: 1 });
  return first < end && first < binsOf(buckets) ? first : undefined;
}

function cyclesOf(buckets: Buckets, bin: number): string {
  const first = buckets.origin + BigInt(buckets.edges[bin] ?? 0);
  const last = buckets.origin + BigInt(buckets.edges[bin + 1] ?? 0) - 1n;
  return first === last ? `cycle ${thousands(first)}` : `cycles ${rangeText(first, last)}`;
}

const short = (value: number): string => thousands(Math.round(value * 10) / 10);

function activityWords(activity: Activity, row: StripRow, scene: StripScene, cycle: bigint) {
  const bin = binAt(activity.buckets, cycle);
  if (bin === undefined) {
    return undefined;
  }
  const bins = binsOf(activity.buckets);
  const type = row.kind === 'count' ? (row.key as EventType) : scene.main;
  const stack = row.kind === 'count' ? activity.stacks[type] : mainStack(scene, activity)[0];
  let mean = 0;
  for (let slot = 0; slot < stack.slots; ++slot) {
    mean += stack.mean[slot * bins + bin] ?? 0;
  }
  const [, many] = row.key === 'all' ? ['event', 'events'] : WORDS[type];
  const most = stack.worst?.[bin];
  return {
    when: cyclesOf(activity.buckets, bin),
    what: most === undefined ? `${short(mean)} ${many}` : `${short(mean)} ${many} a cycle, at most ${short(most)}`,
  };
}

function laneWords(data: LaneData, cycle: bigint) {
  const { buckets } = 'ticks' in data ? data.ticks : data.band;
  const bin = binAt(buckets, cycle);
  if (bin === undefined) {
    return undefined;
  }
  if ('ticks' in data) {
    return { when: cyclesOf(buckets, bin), what: counted(data.ticks.count[bin] ?? 0, 'event') };
  }
  const [min, mean, max] = [data.band.min[bin], data.band.mean[bin], data.band.max[bin]].map((value) => value ?? NaN);
  const known = mean !== undefined && !Number.isNaN(mean);
  return {
    when: cyclesOf(buckets, bin),
    what: known ? `${short(mean)}, from ${short(min ?? 0)} to ${short(max ?? 0)}` : 'no value',
  };
}

/** What a strip tells about the cycles under the pointer. */
export function hoverWords(scene: StripScene, row: StripRow, x: number) {
  const cycle = cycleAt(scene.view, scene.size.width, x);
  const lane = scene.lanes.get(row.key);
  if (lane !== undefined) {
    return laneWords(lane, cycle);
  }
  return scene.activity === undefined || row.kind === 'lane'
    ? undefined
    : activityWords(scene.activity, row, scene, cycle);
}

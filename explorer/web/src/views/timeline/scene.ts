import { computed, signal, type ReadonlySignal } from '@preact/signals';

import { stripRows, type StripRow, type StripRows } from '../../base/stripRows';
import { windowOf, type TimeWindow } from '../../base/timeScale';
import { thousands } from '../../base/words';
import type { Hits } from '../../gl/strips/overview';
import type { StripColours } from '../../gl/strips/strip';
import type { Activity } from '../../model/activity';
import type { Mark } from '../../model/markStore';
import { laneKey, type LaneData } from '../../model/timeFeeds';
import type { CycleSpan, Lane } from '../../model/timeStore';
import type { EventType } from '../../protocol/questions';
import type { Page } from '../context';
import { stripColours, typeColours } from './colours';
import { typesOf, wishesOf } from './rows';

/** Of the strips, in CSS pixels. */
export interface StripSize {
  readonly width: number;
  readonly height: number;
  readonly ratio: number;
  readonly rem: number;
}

/** Where strips lie and which part of time they show. */
export interface Frame {
  readonly size: StripSize;
  readonly layout: StripRows;
  readonly view: TimeWindow;
  /** What the overview shows: the run, and as much behind it as is not read yet. */
  readonly whole: TimeWindow;
  /** How much of the overview is read, 0 to 1. */
  readonly read: number;
  readonly colours: StripColours;
}

/** What the lower layers draw. */
export interface StripScene extends Frame {
  readonly main: EventType;
  readonly by: Activity['by'];
  readonly typeFills: readonly string[];
  readonly activity: Activity | undefined;
  readonly overview: Activity | undefined;
  readonly lanes: ReadonlyMap<string, LaneData>;
  readonly range: CycleSpan | undefined;
  readonly phases: readonly CycleSpan[];
  /** Where a trace ends in the middle of a record. */
  readonly torn: string | undefined;
}

/** What the upper layer draws. */
export interface OverScene extends Frame {
  readonly cycle: bigint;
  readonly step: number;
  readonly unit: 'cycle' | 'step';
  readonly range: CycleSpan | undefined;
  readonly marks: readonly Mark[];
  readonly hover: number | undefined;
  /** Where there is what was looked for. */
  readonly hits: Hits | undefined;
}

/** The state of one timeline, from which its layers and its labels are made. */
export class TimelineScene {
  readonly size = signal<StripSize>({ width: 0, height: 0, ratio: 1, rem: 16 });
  readonly scroll = signal(0);
  readonly hover = signal<number | undefined>(undefined);
  /** The strip under the pointer, and where the pointer is in the window. */
  readonly pointed = signal<{ readonly row: StripRow; readonly x: number; readonly y: number } | undefined>(undefined);
  readonly types: ReadonlySignal<readonly EventType[]>;
  readonly layout: ReadonlySignal<StripRows>;
  readonly frame: ReadonlySignal<Frame>;
  readonly strips: ReadonlySignal<StripScene>;
  readonly over: ReadonlySignal<OverScene>;

  constructor(readonly page: Page) {
    const { trace, time, settings, view } = page.explorer;
    this.types = computed(() => typesOf(trace.head.value));
    this.layout = computed(() => {
      const { height, rem } = this.size.value;
      const all = time.activityBy.value === 'type';
      return stripRows(wishesOf(this.types.value, all, time.lanes.value), height, rem, this.scroll.value);
    });
    const colours = computed(() => stripColours(settings.theme.value, view.asViewer.value));
    this.frame = computed(() => {
      const run = windowOf(page.timeline.mover.bounds);
      const read = readShare(trace.status.value?.indexed);
      return {
        size: this.size.value,
        layout: this.layout.value,
        view: page.timeline.mover.view,
        whole: { ...run, span: run.span / read },
        read,
        colours: colours.value,
      };
    });
    this.strips = computed(() => this.stripScene());
    this.over = computed(() => this.overScene());
  }

  /** Asks for what the window needs and has not. */
  wantData(): void {
    const { explorer, timeline } = this.page;
    if (explorer.trace.head.value === undefined || explorer.trace.isEmpty.value) {
      return;
    }
    const { size, view, read } = this.frame.value;
    const { feeds, mover } = timeline;
    const { bounds } = mover;
    const common = { key: feeds.key, pixels: size.width, bounds };
    feeds.overview.want({ ...common, pixels: size.width * read, view: windowOf(bounds) });
    feeds.activity.want({ ...common, view });
    const lanes = explorer.time.lanes.value;
    feeds.keepLanes(lanes);
    const shape = JSON.stringify(explorer.trace.shape.value);
    lanes.forEach((lane) => feeds.lane(lane).want({ ...common, key: feeds.key + shape, view }));
  }

  laneData(lane: Lane): LaneData | undefined {
    return this.page.timeline.feeds.lane(lane).data;
  }

  private stripScene(): StripScene {
    const { explorer, timeline } = this.page;
    const { time, trace, settings } = explorer;
    const lanes = time.lanes.value.flatMap((lane): [string, LaneData][] => {
      const data = this.laneData(lane);
      return data === undefined ? [] : [[laneKey(lane), data]];
    });
    return {
      ...this.frame.value,
      main: this.types.value[0] ?? 'fire',
      by: timeline.feeds.activity.data?.by ?? 'thread',
      typeFills: typeColours(settings.theme.value),
      activity: timeline.feeds.activity.data,
      overview: timeline.feeds.overview.data,
      lanes: new Map(lanes),
      range: time.range.value,
      phases: timeline.feeds.phases.value,
      torn: tornText(trace.head.value),
    };
  }

  private overScene(): OverScene {
    const { playback, time, marks } = this.page.explorer;
    const { cycle, step } = playback.now.value;
    return {
      ...this.frame.value,
      cycle,
      step,
      unit: time.unit.value,
      range: time.range.value,
      marks: marks.marks.value,
      hover: this.hover.value,
      hits: hitsOf(this.page),
    };
  }
}

function hitsOf({ timeline }: Page): Hits | undefined {
  const answer = timeline.feeds.hits.fed.value?.answer;
  return answer && { ...answer.columns, last: BigInt(answer.head.last) };
}

/** The share of the trace that is indexed; never nothing. */
function readShare(indexed: { readonly done: number; readonly all: number } | null | undefined): number {
  return indexed && indexed.all > 0 ? Math.min(1, Math.max(0.02, indexed.done / indexed.all)) : 1;
}

function tornText(head: { readonly end: { readonly record?: number } | null; readonly records: number } | undefined) {
  return head?.end ? `record ${thousands(head.end.record ?? head.records)}` : undefined;
}

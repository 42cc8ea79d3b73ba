import { signal } from '@preact/signals';

import { bucketCycles, bucketEnd, type BucketSpan } from '../base/buckets';
import { bucketsOf, type BandData, type TickData } from '../base/stripData';
import type { Answer } from '../protocol/answers';
import type { Questions } from '../protocol/questions';
import type { Activity } from './activity';
import { AnswerFeed } from './answerFeed';
import type { Explorer } from './explorer';
import { StripFeed } from './stripFeed';
import type { CycleSpan, Lane } from './timeStore';

export type LaneData = { readonly ticks: TickData } | { readonly band: BandData };

/** The members of a question that tell its buckets. */
export const binsAsked = (span: BucketSpan) => ({
  first: String(span.first),
  last: String(bucketEnd(span) - 1n),
  bins: span.bins,
});

/** Marks that stand apart on most screens. */
const HIT_BINS = 600;

export const laneKey = (lane: Lane): string => JSON.stringify(lane);

/** The last cycle of buckets: that which is told, else that which was asked for. */
const lastOf = (span: BucketSpan, last: string | undefined): bigint =>
  last === undefined ? span.first + BigInt(span.bins) * bucketCycles(span) - 1n : BigInt(last);

/** All that the timeline shows of the trace, fetched as its window moves. */
export class TimeFeeds {
  readonly activity: StripFeed<Activity>;
  readonly overview: StripFeed<Activity>;
  readonly hits: AnswerFeed<'hits'>;
  readonly phases = signal<readonly CycleSpan[]>([]);
  private readonly lanes = new Map<string, StripFeed<LaneData>>();

  constructor(private readonly explorer: Explorer) {
    this.activity = new StripFeed((span, _key, stop) => this.fetchActivity(span, true, stop));
    this.hits = new AnswerFeed(explorer, 'hits', () => this.hitsQuestion(), ({ filter }) => JSON.stringify(filter), 'long');
    this.overview = new StripFeed((span, _key, stop) => this.fetchActivity(span, false, stop));
  }

  get busy(): boolean {
    return this.activity.busy || this.overview.busy || this.hits.busy || [...this.lanes.values()].some((lane) => lane.busy);
  }

  /** What all questions depend on besides the part of time. */
  get key(): string {
    const { trace, time } = this.explorer;
    return `${trace.fingerprint.value} ${time.activityBy.value}`;
  }

  lane(lane: Lane): StripFeed<LaneData> {
    const key = laneKey(lane);
    const known = this.lanes.get(key);
    if (known !== undefined) {
      return known;
    }
    const feed = new StripFeed<LaneData>((span, _key, stop) => this.fetchLane(lane, span, stop));
    this.lanes.set(key, feed);
    return feed;
  }

  /** Forgets lanes that are pinned no more. */
  keepLanes(lanes: readonly Lane[]): void {
    const keys = new Set(lanes.map(laneKey));
    for (const key of this.lanes.keys()) {
      if (!keys.has(key)) {
        this.lanes.delete(key);
      }
    }
  }

  /** The trace is another one. */
  clear(): void {
    this.activity.clear();
    this.overview.clear();
    this.lanes.clear();
    this.phases.value = [];
    this.explorer.time.found.value = undefined;
  }

  /** The trace has grown, or more of it is indexed. */
  renew(): void {
    this.activity.renew();
    this.overview.renew();
    this.lanes.forEach((lane) => lane.renew());
  }

  async fetchPhases(): Promise<void> {
    const { engine, trace } = this.explorer;
    const shape = trace.shape.peek();
    const fingerprint = trace.fingerprint.peek();
    if (shape === undefined) {
      return;
    }
    try {
      const { head } = await engine.ask(fingerprint, 'phases', { shape });
      if (fingerprint === trace.fingerprint.peek()) {
        this.phases.value = head.phases.map(({ first, last }) => ({ first: BigInt(first), last: BigInt(last) }));
      }
    } catch {
      this.phases.value = []; // a strip without brackets; all else is told where it is asked for
    }
  }

  /** In which parts of the run there is what was looked for. */
  private hitsQuestion(): Questions['hits'] | undefined {
    const { trace, time } = this.explorer;
    const shape = trace.shape.value;
    const filter = time.found.value;
    return shape === undefined || filter === undefined
      ? undefined
      : { filter, shape, first: String(trace.firstCycle.value), last: String(trace.lastCycle.value), bins: HIT_BINS };
  }

  private async fetchActivity(span: BucketSpan, worst: boolean, stop: AbortSignal): Promise<Activity> {
    const { engine, trace, time } = this.explorer;
    const by = time.activityBy.peek();
    const question: Questions['activity'] = { ...binsAsked(span), by, worst };
    const asked = engine.ask(trace.fingerprint.peek(), 'activity', question, { signal: stop });
    const [answer, part] = await Promise.all([asked, import('./activity')]);
    return part.activityOf(answer, by);
  }

  private async fetchLane(lane: Lane, span: BucketSpan, stop: AbortSignal): Promise<LaneData> {
    const { engine, trace } = this.explorer;
    const fingerprint = trace.fingerprint.peek();
    if ('counter' in lane) {
      const question = { ...binsAsked(span), ...lane };
      const { head, columns } = await engine.ask(fingerprint, 'counter', question, { signal: stop });
      return { band: { ...columns, buckets: bucketsOf(columns.first, lastOf(span, head.last)) } };
    }
    const shape = trace.shape.peek();
    if (shape === undefined) {
      throw new Error('a lane of an unknown trace');
    }
    const question = { ...binsAsked(span), piece: lane.piece, shape };
    return { ticks: ticksOfAnswer(await engine.ask(fingerprint, 'lane', question, { signal: stop }), span) };
  }
}

function ticksOfAnswer({ head, columns }: Answer<'lane'>, span: BucketSpan): TickData {
  const buckets = bucketsOf(columns.first, lastOf(span, head.last));
  return { count: columns.count, thread: columns.thread, buckets };
}

import { signal, untracked, type Signal } from '@preact/signals';

import { bucketsFor, covers, nearEdge, type BucketSpan } from '../base/buckets';
import { Latest } from '../base/latest';
import type { TimeBounds, TimeWindow } from '../base/timeScale';
import { isCancelled } from '../protocol/fault';

/** What a strip asks for: `key` tells trace and question, the rest tells which part of time. */
export interface StripWant {
  readonly key: string;
  readonly view: TimeWindow;
  readonly pixels: number;
  readonly bounds: TimeBounds;
}

interface Fetched<Data> {
  readonly key: string;
  readonly span: BucketSpan;
  readonly data: Data;
}

const PATIENCE = 150; // milliseconds before it is said that something is waited for

const sameSpan = (a: BucketSpan, b: BucketSpan): boolean =>
  a.first === b.first && a.level === b.level && a.bins === b.bins;

/**
 * The data of one strip. Tell it what is wanted as often as you like, also at every frame: it asks
 * when what it has does not do, or will soon not do, and the newest wish wins. What it has stays until
 * the next is there, stretched as it may be.
 */
export class StripFeed<Data> {
  private readonly fetched: Signal<Fetched<Data> | undefined> = signal(undefined);
  private readonly latest: Latest<{ readonly key: string; readonly span: BucketSpan }>;
  private asked: { readonly key: string; readonly span: BucketSpan } | undefined;

  /** Why the last question failed; undefined again with the next answer. */
  readonly failure = signal<unknown>(undefined);

  /** Whether an answer has been waited for for a while. */
  readonly slow = signal(false);

  constructor(private readonly fetch: (span: BucketSpan, key: string, stop: AbortSignal) => Promise<Data>) {
    this.latest = new Latest((wish, stop) => this.work(wish, stop));
  }

  get data(): Data | undefined {
    return this.fetched.value?.data;
  }

  get busy(): boolean {
    return this.latest.busy;
  }

  /** May be called in an effect, which then does not depend on what is done here. */
  want(want: StripWant): void {
    untracked(() => this.askFor(want));
  }

  private askFor(want: StripWant): void {
    const have = this.fetched.peek();
    const { view, pixels, bounds } = want;
    const does = have?.key === want.key && covers(have.span, view, pixels, bounds);
    if (does && !nearEdge(have.span, view, bounds)) {
      return;
    }
    const span = bucketsFor(view, pixels, bounds);
    if (this.asked?.key === want.key && sameSpan(this.asked.span, span)) {
      return;
    }
    // A wish that is in work and will do is not replaced by one a bucket further.
    const coming = this.asked?.key === want.key && this.latest.busy && covers(this.asked.span, view, pixels, bounds);
    if (coming && !nearEdge(this.asked?.span ?? span, view, bounds)) {
      return;
    }
    this.asked = { key: want.key, span };
    this.latest.want(this.asked);
  }

  /** Asks again at the next wish: the trace has grown, or a question failed. */
  renew(): void {
    this.asked = undefined;
    const have = this.fetched.peek();
    if (have !== undefined) {
      this.fetched.value = { ...have, key: '' };
    }
  }

  /** Forgets everything: another trace. */
  clear(): void {
    this.latest.drop();
    this.asked = undefined;
    this.fetched.value = undefined;
    this.failure.value = undefined;
  }

  private async work(wish: { readonly key: string; readonly span: BucketSpan }, stop: AbortSignal): Promise<void> {
    const waiting = setTimeout(() => (this.slow.value = true), PATIENCE);
    try {
      const data = await this.fetch(wish.span, wish.key, stop);
      if (!stop.aborted) {
        this.fetched.value = { ...wish, data };
        this.failure.value = undefined;
      }
    } catch (error) {
      if (!isCancelled(error)) {
        this.failure.value = error;
        this.asked = undefined;
      }
    } finally {
      clearTimeout(waiting);
      this.slow.value = false;
    }
  }
}

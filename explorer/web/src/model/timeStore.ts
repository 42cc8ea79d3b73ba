import { computed, signal } from '@preact/signals';

import type { PlacePair } from '../base/place';
import type { TimeWindow } from '../base/timeScale';
import type { Filter, Piece } from '../protocol/questions';

/** Cycles from first to last, both included. */
export interface CycleSpan {
  readonly first: bigint;
  readonly last: bigint;
}

/** Of a counter all places together, or one of them. */
export type Lane = { readonly piece: Piece } | { readonly counter: string; readonly place?: PlacePair };

/** What the timeline shows: its window, the range that every panel follows, pinned lanes. */
export class TimeStore {
  /** Undefined: the whole run, also while it grows. */
  readonly view = signal<TimeWindow | undefined>(undefined);
  readonly range = signal<CycleSpan | undefined>(undefined);
  readonly lanes = signal<readonly Lane[]>([]);
  readonly unit = signal<'cycle' | 'step'>('cycle');
  readonly activityBy = signal<'thread' | 'type' | 'kind'>('thread');

  /** What events were looked for last; where they are is marked on the overview. */
  readonly found = signal<Filter | undefined>(undefined);

  readonly rangeCycles = computed(() => {
    const range = this.range.value;
    return range === undefined ? undefined : range.last - range.first + 1n;
  });

  pin(lane: Lane): void {
    if (!this.isPinned(lane)) {
      this.lanes.value = [...this.lanes.value, lane];
    }
  }

  unpin(lane: Lane): void {
    const text = JSON.stringify(lane);
    this.lanes.value = this.lanes.value.filter((other) => JSON.stringify(other) !== text);
  }

  isPinned(lane: Lane): boolean {
    const text = JSON.stringify(lane);
    return this.lanes.value.some((other) => JSON.stringify(other) === text);
  }
}

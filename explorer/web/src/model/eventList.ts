import { computed, effect, signal, untracked, type Signal } from '@preact/signals';

import { Latest } from '../base/latest';
import { Lru } from '../base/lru';
import { readFilterWords, type FilterAttribute, type FilterTerms, type FilterWords } from '../base/filterWords';
import { AskError, isCancelled } from '../protocol/fault';
import type { Filter, Questions } from '../protocol/questions';
import type { Explorer } from './explorer';
import { momentOf } from './moment';
import type { CycleSpan } from './timeStore';
import { filterOf, isAll, isOfWholeRun } from './eventFilter';
import { pageOf, pagesOf, type EventPage, type EventRow } from './eventPage';

export const PAGE = 200; // rows that are fetched at once
const KEPT_PAGES = 64;
const MOST_ASKED = 2000; // rows that the engine gives at once
/** What is over after a while: rows that are still wanted are then asked for again. */
const PASSING: ReadonlySet<string> = new Set(['busy', 'lost']);
const PAUSE = 500; // milliseconds
const TYPING = 120; // milliseconds without a key after which a filter counts

export interface Counted {
  readonly count: number;
  readonly exact: boolean;
}

/** What the list of events lists: a filter, how many match, and pages of them. */
export class EventList {
  readonly text: Signal<string>;
  readonly counted = signal<Counted | undefined>(undefined);
  readonly failure = signal<unknown>(undefined);
  readonly slow = signal(false);

  /** How many would match without one of the words, where none matches with all of them. */
  readonly relief = signal<{ readonly word: number; readonly count: number } | undefined>(undefined);

  readonly attributes = computed<readonly FilterAttribute[]>(() =>
    (this.explorer.trace.head.value?.attributes ?? []).map(({ name, type, names }) => ({
      name,
      type,
      names: new Map(Object.entries(names ?? {}).map(([value, word]) => [word, BigInt(value)])),
    })),
  );

  readonly words = computed<FilterWords>(() => readFilterWords(this.text.value, this.attributes.value));

  /** The range, where the list keeps to it. */
  readonly range = computed<CycleSpan | undefined>(() => this.rangeOf(this.words.value.terms));

  /** What is listed: what all words that can be used ask for, in the range. */
  readonly filter = computed<Filter>(() => this.listed(this.words.value.terms));

  private readonly pages = new Lru<number, EventPage>(KEPT_PAGES);
  private readonly arrived = signal(0);
  private readonly fetches: Latest<readonly [number, number]>;
  private key = '';
  private timer: ReturnType<typeof setTimeout> | undefined;

  constructor(private readonly explorer: Explorer) {
    this.text = explorer.panels.filter;
    this.fetches = new Latest((pages, stop) => this.fetch(pages, stop));
  }

  get busy(): boolean {
    return this.fetches.busy || this.slow.value;
  }

  /** Counts whenever the filter or the trace becomes another; returns what ends that. */
  follow(): () => void {
    let first = true;
    const end = effect(() => {
      const { trace } = this.explorer;
      const key = JSON.stringify([
        trace.fingerprint.value,
        trace.head.value?.records,
        trace.head.value?.notesComing,
        trace.shape.value,
        this.filter.value,
      ]);
      clearTimeout(this.timer);
      if (trace.head.value === undefined || key === this.key) {
        return;
      }
      this.timer = setTimeout(() => untracked(() => this.turnTo(key)), first ? 0 : TYPING);
      first = false;
    });
    return () => {
      end();
      clearTimeout(this.timer);
      this.fetches.drop();
      this.explorer.time.found.value = undefined;
      this.key = '';
    };
  }

  /** A row that is there. */
  row(number: number): EventRow | undefined {
    this.arrived.value;
    return this.pages.get(Math.floor(number / PAGE))?.rows[number % PAGE];
  }

  /** Sees to it that the rows from `first` to `end` are there or on their way. */
  wantRows(first: number, end: number): void {
    this.arrived.value; // pages that are not asked for together are so one after the other
    untracked(() => {
      const isThere = (page: number) => this.pages.get(page) !== undefined;
      let [from, to] = [Math.floor(first / PAGE), Math.floor(Math.max(first, end - 1) / PAGE)];
      while (from <= to && isThere(from)) {
        ++from;
      }
      while (to > from && isThere(to)) {
        --to;
      }
      if (from <= to) {
        this.fetches.want([from, Math.min(to, from + MOST_ASKED / PAGE - 1)]);
      }
    });
  }

  /** The row of the first match that the playhead has not reached; undefined where it cannot be told. */
  async rowAtPlayhead(): Promise<number | undefined> {
    const { engine, trace, view, playback } = this.explorer;
    try {
      const moment = momentOf(view.reading.peek(), playback.now.peek(), view.skipTo.peek());
      const { head } = await engine.ask(trace.fingerprint.peek(), 'when', moment);
      if (isAll(this.filter.peek())) {
        return head.record;
      }
      return (await this.ask({ before: head.record }))?.head.before;
    } catch (error) {
      this.fail(error);
      return undefined;
    }
  }

  /** The first matches, at most so many, part by part; fails as questions do. */
  async *parts(most: number): AsyncGenerator<readonly EventRow[]> {
    const { engine, trace } = this.explorer;
    const shape = trace.shape.peek();
    const filter = this.filter.peek();
    let left = most;
    for (let from: number | undefined = 0; from !== undefined && shape !== undefined && left > 0; ) {
      const question: Questions['events'] = { filter, shape, from, count: Math.min(MOST_ASKED, left) };
      const page = pageOf(await engine.ask(trace.fingerprint.peek(), 'events', question));
      yield page.rows;
      left -= page.rows.length;
      from = page.next;
    }
  }

  private rangeOf(terms: FilterTerms): CycleSpan | undefined {
    return isOfWholeRun(terms) ? undefined : this.explorer.time.range.value;
  }

  private listed(terms: FilterTerms): Filter {
    const filter = filterOf(terms, this.explorer.view.skipTo.value);
    const range = this.rangeOf(terms);
    return range === undefined ? filter : { ...filter, cycles: [String(range.first), String(range.last)] };
  }

  private async ask(more: Partial<Questions['count']>) {
    const { engine, trace } = this.explorer;
    const shape = trace.shape.peek();
    if (shape === undefined) {
      return undefined;
    }
    const question = { filter: this.filter.peek(), shape, ...more };
    return engine.ask(trace.fingerprint.peek(), 'count', question);
  }

  private turnTo(key: string): void {
    this.key = key;
    this.fetches.drop();
    this.pages.clear();
    this.arrived.value += 1;
    this.relief.value = undefined;
    this.failure.value = undefined;
    const records = this.explorer.trace.head.peek()?.records ?? 0;
    const all = isAll(this.filter.peek());
    this.explorer.time.found.value = isAll(filterOf(this.words.peek().terms, 0n)) ? undefined : this.filter.peek();
    if (all) {
      this.counted.value = { count: records, exact: true };
      this.slow.value = false; // a count that is in work is of another filter
    } else {
      void this.count(key);
    }
  }

  private async count(key: string): Promise<void> {
    this.slow.value = true;
    try {
      const answer = await this.ask({});
      if (key === this.key && answer !== undefined) {
        this.counted.value = { count: answer.head.count, exact: answer.head.exact };
        if (answer.head.count === 0) {
          await this.relieve(key);
        }
      }
    } catch (error) {
      if (key === this.key) {
        this.fail(error);
      }
    } finally {
      this.slow.value = key === this.key ? false : this.slow.value;
    }
  }

  /** Which word to leave out so that something matches. */
  private async relieve(key: string): Promise<void> {
    const { words } = this.words.peek();
    for (let word = words.length - 1; word >= 0; --word) {
      const text = words.filter((_, at) => at !== word).map((each) => each.text);
      const { terms, usable } = readFilterWords(text.join(' '), this.attributes.peek());
      if (!usable) {
        continue;
      }
      const filter = this.listed(terms);
      const answer = await this.ask({ filter });
      if (key !== this.key) {
        return;
      }
      if (answer !== undefined && answer.head.count > 0) {
        this.relief.value = { word, count: answer.head.count };
        return;
      }
    }
  }

  /** Where a page begins: at a record that is known, or at a match that the engine counts to. */
  private startOf(page: number): { readonly from: number } | { readonly nth: number } {
    if (page === 0 || isAll(this.filter.peek())) {
      return { from: page * PAGE };
    }
    const before = this.pages.get(page - 1)?.next;
    return before === undefined ? { nth: page * PAGE } : { from: before };
  }

  private async fetch([page, last]: readonly [number, number], stop: AbortSignal): Promise<void> {
    const { key } = this;
    const { engine, trace } = this.explorer;
    const shape = trace.shape.peek();
    const attributes = trace.head.peek()?.attributes ?? [];
    try {
      if (shape === undefined || key !== this.key) {
        return;
      }
      const question = { filter: this.filter.peek(), shape, ...this.startOf(page), count: PAGE * (last - page + 1), ...(attributes.length === 0 ? {} : { notes: true }) };
      const answer = await engine.ask(trace.fingerprint.peek(), 'events', question, { signal: stop });
      if (key === this.key) {
        const parts = pagesOf(pageOf(answer, attributes), PAGE, last - page + 1);
        parts.forEach((part, i) => this.pages.set(page + i, part));
        this.failure.value = undefined;
        this.arrived.value += 1;
      }
    } catch (error) {
      this.fail(error);
      if (error instanceof AskError && PASSING.has(error.code)) {
        setTimeout(() => (this.arrived.value += 1), PAUSE);
      }
    }
  }

  private fail(error: unknown): void {
    if (error instanceof AskError && !isCancelled(error)) {
      this.failure.value = error;
    }
  }
}

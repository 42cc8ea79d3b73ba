import type { Picture } from '../base/picture';
import { applyChange, changeAt, type StepChange } from '../base/stepChange';
import type { Engine } from '../engine/engine';
import type { Questions } from '../protocol/questions';

export type Direction = 1 | -1;

type StepsQuestion = Questions['steps'];

/** A question for `count` changes from a picture on, or undefined where there is nothing to ask. */
export type AskFrom = (
  from: Pick<Picture, 'step' | 'cycle'>,
  count: number,
  back: boolean,
) => { readonly trace: string; readonly question: StepsQuestion } | undefined;

const FIRST_COUNT = 16; // changes asked for at first, so that the first step comes soon
const MOST_COUNT = 128;

/**
 * Goes from one picture to the next ones in one direction. Changes are fetched ahead, and forgotten
 * when the direction turns or the walk begins elsewhere.
 */
export class Walker {
  private ahead: StepChange[] = [];
  private direction: Direction = 1;
  private end: Pick<Picture, 'step' | 'cycle'> | undefined; // what the last fetched change leads to
  private ended = false;
  private count = FIRST_COUNT;
  private asking: Promise<void> | undefined;
  private walk = 0; // another number for each walk: late answers of an older one are dropped

  constructor(
    private readonly engine: Engine,
    private readonly askFrom: AskFrom,
  ) {}

  /** Changes that are there already. */
  get ready(): number {
    return this.ahead.length;
  }

  /** Forgets what was fetched; the next walk begins at another picture. */
  reset(): void {
    this.walk += 1;
    this.ahead = [];
    this.end = undefined;
    this.ended = false;
    this.count = FIRST_COUNT;
    this.asking = undefined;
  }

  /**
   * The picture after (or before) `from`, if its change is there: 'waiting' while it is fetched,
   * 'ended' where there is none. Fetches ahead.
   */
  tryNext(from: Picture, direction: Direction): Picture | 'waiting' | 'ended' {
    if (direction !== this.direction) {
      this.reset();
      this.direction = direction;
    }
    const change = this.ahead.shift();
    if (change === undefined) {
      if (this.ended) {
        return 'ended';
      }
      this.fetch(from);
      return 'waiting';
    }
    if (this.ahead.length < this.count / 2) {
      this.fetch(change);
    }
    return applyChange(from, change, direction);
  }

  /** The next picture; undefined where there is none. Fails as the question does. */
  async next(from: Picture, direction: Direction): Promise<Picture | undefined> {
    for (;;) {
      const next = this.tryNext(from, direction);
      const walk = this.walk;
      if (next === 'ended') {
        return undefined;
      }
      if (next !== 'waiting') {
        return next;
      }
      if (this.asking === undefined) {
        return undefined; // nothing to ask: no trace
      }
      await this.asking;
      if (walk !== this.walk) {
        return undefined; // another walk has begun meanwhile
      }
    }
  }

  private fetch(from: Pick<Picture, 'step' | 'cycle'>): void {
    if (this.asking !== undefined || this.ended) {
      return;
    }
    const asked = this.askFrom(this.end ?? from, this.count, this.direction === -1);
    if (asked === undefined) {
      return;
    }
    const walk = this.walk;
    const done = this.take(asked, walk).finally(() => {
      if (walk === this.walk) {
        this.asking = undefined;
      }
    });
    done.catch(() => undefined); // told to whoever waits for it; fetching ahead may fail unseen
    this.asking = done;
  }

  private async take(asked: { trace: string; question: StepsQuestion }, walk: number): Promise<void> {
    const { head, columns } = await this.engine.ask(asked.trace, 'steps', asked.question);
    if (walk !== this.walk) {
      return;
    }
    for (let i = 0; i < head.moments; ++i) {
      const change = changeAt(columns, i);
      this.ahead.push(change);
      this.end = change;
    }
    this.ended = head.ended || head.moments === 0;
    this.count = Math.min(MOST_COUNT, 2 * this.count);
  }
}

import { MOST_CYCLE } from '../base/cycles';
import { isCancelled } from '../protocol/fault';
import type { Filter, Piece, Questions } from '../protocol/questions';
import type { Explorer } from './explorer';
import { momentOf } from './moment';

/**
 * Goes from event to event of a piece, or of a filter. What happens in the cycle that is shown is
 * where one is already, so the next event is one of another cycle.
 */
export class EventWalk {
  constructor(private readonly explorer: Explorer) {}

  /** To the next event of a piece, or the previous one; tells whether there is one. */
  async go(piece: Piece, back: boolean): Promise<boolean> {
    const shape = this.explorer.trace.shape.peek();
    const cycles = this.cyclesLeft(back);
    if (shape === undefined || cycles === undefined) {
      return false;
    }
    return this.walk(async (record) => {
      const question: Questions['next'] = { piece, record, back, filter: { cycles }, shape };
      const { head } = await this.explorer.engine.ask(this.trace, 'next', question);
      return head.event?.record;
    });
  }

  /** The same of what a filter lets through. */
  async goFiltered(filter: Filter, back: boolean): Promise<boolean> {
    const shape = this.explorer.trace.shape.peek();
    const left = this.cyclesLeft(back);
    this.explorer.time.found.value = filter;
    const asked = filter.cycles ?? [0n, MOST_CYCLE];
    if (shape === undefined || left === undefined) {
      return false;
    }
    const [first, last] = [larger(asked[0], left[0]), smaller(asked[1], left[1])];
    if (first > last) {
      return false;
    }
    const narrowed = { ...filter, cycles: [String(first), String(last)] as const };
    return this.walk(async (record) => {
      const question: Questions['events'] = { filter: narrowed, shape, from: record, count: 1, back };
      const { columns } = await this.explorer.engine.ask(this.trace, 'events', question);
      return columns.record[0];
    });
  }

  private get trace(): string {
    return this.explorer.trace.fingerprint.peek();
  }

  /** The cycles before the one that is shown, or behind it; undefined where there are none. */
  private cyclesLeft(back: boolean): readonly [string, string] | undefined {
    const { cycle } = this.explorer.playback.now.peek();
    if (back) {
      return cycle === 0n ? undefined : ['0', String(cycle - 1n)];
    }
    return cycle === MOST_CYCLE ? undefined : [String(cycle + 1n), String(MOST_CYCLE)];
  }

  private async walk(next: (record: number) => Promise<number | undefined>): Promise<boolean> {
    const { playback, view, engine, pilot, panels } = this.explorer;
    playback.playing.value = false;
    try {
      const moment = momentOf(view.reading.peek(), playback.now.peek(), view.skipTo.peek());
      const { head } = await engine.ask(this.trace, 'when', moment);
      const record = await next(head.record);
      if (record !== undefined) {
        await pilot.goToRecord(record);
        return true;
      }
      panels.said.value = 'There is no other event.';
    } catch (error) {
      if (!isCancelled(error)) {
        panels.said.value = error instanceof Error ? error.message : '';
      }
    }
    return false;
  }
}

const larger = (a: bigint | string, b: bigint | string): bigint => (BigInt(a) > BigInt(b) ? BigInt(a) : BigInt(b));
const smaller = (a: bigint | string, b: bigint | string): bigint => (BigInt(a) < BigInt(b) ? BigInt(a) : BigInt(b));

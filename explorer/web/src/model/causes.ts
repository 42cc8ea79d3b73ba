import { computed, effect, signal } from '@preact/signals';

import type { Place } from '../base/place';
import { Latest } from '../base/latest';
import type { Answer } from '../protocol/answers';
import { isCancelled } from '../protocol/fault';
import { EVENT_TYPES, type Questions } from '../protocol/questions';
import type { Explorer } from './explorer';
import { momentOf } from './moment';

const MOST_STEPS = 200;

/** Why the selected piece shows what it does: the chain of events that led to its last one. */
export class Causes {
  readonly answer = signal<Answer<'why'> | undefined>(undefined);
  readonly failure = signal<unknown>(undefined);
  private readonly latest: Latest<Questions['why']>;
  private turn = 0;

  /** The ways of the chain's events through the array: one a message. */
  readonly path = computed<readonly (readonly Place[])[] | undefined>(() => {
    const answer = this.answer.value;
    return answer === undefined || !this.explorer.view.causes.value ? undefined : waysOf(answer);
  });

  constructor(private readonly explorer: Explorer) {
    this.latest = new Latest((question, stop) => this.ask(question, stop));
  }

  get busy(): boolean {
    return this.latest.busy;
  }

  follow(): () => void {
    return effect(() => {
      const { view, selection, trace } = this.explorer;
      const selected = selection.selected.value;
      const shape = trace.shape.value;
      const turn = ++this.turn;
      if (!view.causes.value || selected === undefined || shape === undefined) {
        this.forget();
      } else if ('record' in selected) {
        this.latest.want({ record: selected.record, direction: 'chain', shape, most: MOST_STEPS });
      } else {
        this.explorer.playback.picture.value; // another moment has another last event
        void this.askOfPiece(turn);
      }
    });
  }

  /** What was selected has no causes. */
  private forget(): void {
    this.latest.drop();
    this.answer.value = undefined;
  }

  private async askOfPiece(turn: number): Promise<void> {
    const { engine, trace, view, playback, selection } = this.explorer;
    const piece = selection.piece.peek();
    const shape = trace.shape.peek();
    if (playback.playing.peek()) {
      return;
    }
    if (piece === undefined || 'link' in piece || shape === undefined) {
      this.forget();
      return;
    }
    const moment = momentOf(view.reading.peek(), playback.now.peek(), view.skipTo.peek());
    try {
      const { head } = await engine.ask(trace.fingerprint.peek(), 'piece', { ...moment, piece, shape });
      if (turn !== this.turn) {
        return;
      }
      if (head.touched === null) {
        this.forget();
      } else {
        this.latest.want({ record: head.touched.record, direction: 'chain', shape, most: MOST_STEPS });
      }
    } catch (error) {
      this.fail(error);
    }
  }

  private async ask(question: Questions['why'], stop: AbortSignal): Promise<void> {
    try {
      const trace = this.explorer.trace.fingerprint.peek();
      this.answer.value = await this.explorer.engine.ask(trace, 'why', question, { signal: stop });
      this.failure.value = undefined;
    } catch (error) {
      this.fail(error);
    }
  }

  private fail(error: unknown): void {
    if (!isCancelled(error)) {
      this.failure.value = error;
    }
  }
}

/** Messages that follow each other are one way. */
function waysOf({ columns }: Answer<'why'>): Place[][] {
  const ways: Place[][] = [];
  const at = (list: Uint32Array, i: number): Place => ({ column: list[2 * i] ?? 0, row: list[2 * i + 1] ?? 0 });
  for (let i = 0; i < columns.record.length; ++i) {
    if (EVENT_TYPES[columns.type[i] ?? 0] !== 'send') {
      continue;
    }
    const [from, to] = [at(columns.at, i), at(columns.to, i)];
    const last = ways[ways.length - 1];
    const end = last?.[last.length - 1];
    if (last !== undefined && end?.column === from.column && end.row === from.row) {
      last.push(to);
    } else {
      ways.push([from, to]);
    }
  }
  return ways;
}

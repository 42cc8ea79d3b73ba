import { computed, effect, signal, untracked } from '@preact/signals';

import type { Place } from '../base/place';
import { Latest } from '../base/latest';
import type { Answer, WhyColumns } from '../protocol/answers';
import { isCancelled } from '../protocol/fault';
import { EVENT_TYPES } from '../protocol/questions';
import type { Explorer } from './explorer';
import { momentOf } from './moment';
import type { Selected } from './selectionStore';
import type { CausesOf } from './viewStore';

const MOST_STEPS = 200;
const MOST_EVENTS = 2000; // of all that led to an event, or followed from it

interface Wish {
  readonly trace: string;
  readonly of: CausesOf;
  /** The event that is asked about; of the critical path it counts for nothing. */
  readonly record: number;
}

/** What was found: the answer to `why`, or to `packet` with the packet. */
export type Found =
  | ({ readonly of: Exclude<CausesOf, 'packet'> } & Answer<'why'>)
  | ({ readonly of: 'packet'; readonly packet: bigint } & Answer<'packet'>);

/** Why the selected shows what it does, and what came of it. */
export class Causes {
  readonly found = signal<Found | undefined>(undefined);
  readonly failure = signal<unknown>(undefined);

  /** Of what is selected no packet is noted. */
  readonly lacksPacket = signal(false);
  private readonly latest: Latest<Wish>;
  private turn = 0;

  /** The ways of the events through the array: one a message, or on a chain one for messages in a row. */
  readonly path = computed<readonly (readonly Place[])[] | undefined>(() => {
    const found = this.found.value;
    return found === undefined || !this.explorer.view.causes.value ? undefined : waysOf(found.columns, this.isChain.value);
  });

  /** Whether the events stand behind each other, so that their order has numbers. */
  readonly isChain = computed(() => {
    const of = this.found.value?.of;
    return of !== 'back' && of !== 'forward';
  });

  /** Where elements fire on the way. */
  readonly fires = computed<readonly Place[]>(() => {
    const found = this.found.value;
    return found === undefined || !this.explorer.view.causes.value ? [] : firesOf(found.columns);
  });

  constructor(private readonly explorer: Explorer) {
    this.latest = new Latest((wish, stop) => this.ask(wish, stop));
  }

  get busy(): boolean {
    return this.latest.busy;
  }

  follow(): () => void {
    return effect(() => {
      const { view, selection, trace } = this.explorer;
      const selected = selection.selected.value;
      const of = view.causesOf.value;
      trace.head.value; // of a trace that has grown, or answers again, there may be more
      const turn = ++this.turn;
      const shown = view.causes.value && trace.shape.value !== undefined;
      if (selected !== undefined && !('record' in selected)) {
        this.explorer.playback.picture.value; // another moment has another last event
      }
      untracked(() => (shown ? this.turnTo(of, selected, turn) : this.forget()));
    });
  }

  private turnTo(of: CausesOf, selected: Selected | undefined, turn: number): void {
    if (of === 'critical') {
      this.want(of, 0);
    } else if (selected === undefined) {
      this.forget();
    } else if ('record' in selected) {
      this.want(of, selected.record);
    } else {
      void this.askOfPiece(of, turn);
    }
  }

  private want(of: CausesOf, record: number): void {
    this.latest.want({ trace: this.explorer.trace.fingerprint.peek(), of, record });
  }

  /** What was selected has no causes. */
  private forget(): void {
    this.latest.drop();
    this.found.value = undefined;
    this.lacksPacket.value = false;
  }

  private async askOfPiece(of: CausesOf, turn: number): Promise<void> {
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
        this.want(of, head.touched.record);
      }
    } catch (error) {
      this.fail(error);
    }
  }

  private async ask(wish: Wish, stop: AbortSignal): Promise<void> {
    try {
      const found = await this.find(wish, stop);
      if (!stop.aborted && wish.trace === this.explorer.trace.fingerprint.peek()) {
        this.found.value = found;
        this.lacksPacket.value = found === undefined;
        this.failure.value = undefined;
      }
    } catch (error) {
      this.fail(error);
    }
  }

  private async find({ trace, of, record }: Wish, signal: AbortSignal): Promise<Found | undefined> {
    const { engine } = this.explorer;
    const shape = this.explorer.trace.shape.peek();
    if (shape === undefined) {
      return undefined;
    }
    if (of !== 'packet') {
      const most = of === 'back' || of === 'forward' ? MOST_EVENTS : MOST_STEPS;
      const answer = await engine.ask(trace, 'why', { record, direction: of, shape, most }, { signal });
      return { of, ...answer };
    }
    const packet = await this.packetOf(trace, record, signal);
    return packet === undefined
      ? undefined
      : { of, packet, ...(await engine.ask(trace, 'packet', { packet: String(packet), shape }, { signal })) };
  }

  /** The packet that is noted of an event. */
  private async packetOf(trace: string, record: number, signal: AbortSignal): Promise<bigint | undefined> {
    const { head, shape } = this.explorer.trace;
    const own = shape.peek();
    if (own === undefined || head.peek()?.attributes.some(({ name }) => name === 'packet') !== true) {
      return undefined;
    }
    const question = { filter: { records: [record, record + 1] as const }, shape: own, from: record, count: 1, notes: true };
    const { columns } = await this.explorer.engine.ask(trace, 'events', question, { signal });
    const notes = columns as unknown as Record<string, ArrayLike<bigint | number> | undefined>;
    return notes['has.packet']?.[0] === 1 ? BigInt(notes['note.packet']?.[0] ?? 0) : undefined;
  }

  private fail(error: unknown): void {
    if (!isCancelled(error)) {
      this.failure.value = error;
    }
  }
}

const placeAt = (list: Uint32Array, i: number): Place => ({ column: list[2 * i] ?? 0, row: list[2 * i + 1] ?? 0 });

/** The elements that fire, each once. */
function firesOf(columns: WhyColumns): Place[] {
  const places = new Map<string, Place>();
  columns.type.forEach((type, i) => {
    if (EVENT_TYPES[type] === 'fire') {
      const place = placeAt(columns.at, i);
      places.set(`${place.column},${place.row}`, place);
    }
  });
  return [...places.values()];
}

/** The ways of messages; those that follow each other are one where they are `joined`. */
function waysOf(columns: WhyColumns, joined: boolean): Place[][] {
  const ways: Place[][] = [];
  for (let i = 0; i < columns.record.length; ++i) {
    if (EVENT_TYPES[columns.type[i] ?? 0] !== 'send') {
      continue;
    }
    const [from, to] = [placeAt(columns.at, i), placeAt(columns.to, i)];
    const last = ways[ways.length - 1];
    const end = last?.[last.length - 1];
    if (joined && last !== undefined && end?.column === from.column && end.row === from.row) {
      last.push(to);
    } else {
      ways.push([from, to]);
    }
  }
  return ways;
}

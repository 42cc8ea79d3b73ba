import { effect, signal } from '@preact/signals';

import { clamp } from '../base/cycles';
import { Latest } from '../base/latest';
import { Lru } from '../base/lru';
import type { Picture } from '../base/picture';
import { isCancelled } from '../protocol/fault';
import type { Moment, Questions, Reading } from '../protocol/questions';
import { askPicture, type Wish } from './askPicture';
import type { Explorer } from './explorer';
import { momentOf, type Position } from './moment';
import { Turn } from './turn';
import { Walker, type Direction } from './walker';

const MOST_STEPS = 1000; // that are kept while they cannot be shown as fast as they are asked for
const KEPT_BYTES = 32 * 1024 * 1024;

/**
 * Brings the wanted moment to the screen: jumps, of which the latest wins, and steps, of which none
 * is lost. What is shown stays until the next picture is there, and never gives way to an older one.
 */
export class Pilot {
  readonly failure = signal<unknown>(undefined);

  /** Whether a picture has been waited for for a while. */
  readonly slow = signal(false);

  private readonly jumps: Latest<Wish>;
  private readonly walker: Walker;
  private readonly kept: Lru<string, Picture>;
  private steps = 0;
  private stepping = false;
  private walking = Promise.resolve(); // until the steps on their way are shown
  private finding = Promise.resolve(); // until it is known which moment is meant
  private flight = 0; // another number for each jump
  private readonly turn = new Turn();

  constructor(private readonly explorer: Explorer) {
    this.jumps = new Latest((wish, stop) => this.fetch(wish, stop));
    this.kept = new Lru(256);
    this.walker = new Walker(explorer.engine, (from, count, back) => {
      const shape = explorer.trace.shape.value;
      const trace = explorer.trace.fingerprint.value;
      const moment = this.momentAt(from);
      return shape === undefined ? undefined : { trace, question: { ...moment, shape, count, back } };
    });
  }

  /** Whether anything is on its way to the screen. */
  get busy(): boolean {
    return this.jumps.busy || this.stepping;
  }

  /** Shows the wanted moment again whenever trace, shape or reading become others, or the trace has grown. */
  follow(): () => void {
    const { trace, view, playback } = this.explorer;
    const turning = effect(() => {
      trace.fingerprint.value;
      const shape = trace.shape.value;
      const reading = view.reading.value;
      view.skipTo.value;
      if (shape !== undefined) {
        queueMicrotask(() => this.turnTo(reading));
      }
    });
    const growing = effect(() => {
      if (trace.records.value > 0 && playback.picture.peek() !== undefined) {
        void this.again();
      }
    });
    return () => (turning(), growing());
  }

  goTo(at: Position, moment: Moment = this.momentAt(at)): void {
    this.steps = 0;
    this.flight += 1;
    this.walker.reset();
    this.explorer.playback.wanted.value = at;
    this.ask(moment);
  }

  /** Goes to the last moment at or before a cycle, in either reading. */
  async goToCycle(cycle: bigint): Promise<void> {
    const { trace } = this.explorer;
    const wanted = clamp(cycle, trace.firstCycle.value, trace.lastCycle.value);
    const { step } = this.explorer.playback.now.value;
    if (this.explorer.view.reading.value === 'natural') {
      this.goTo({ step, cycle: wanted });
      return;
    }
    await this.goWhen({ reading: 'natural', cycle: String(wanted) });
  }

  goToFirst(): void {
    const { trace, view } = this.explorer;
    if (view.reading.peek() === 'natural') {
      this.goTo({ step: 1, cycle: trace.firstCycle.peek() });
    } else {
      this.goToStep(0);
    }
  }

  goToLast(): void {
    const { trace, view } = this.explorer;
    if (view.reading.peek() === 'natural') {
      this.goTo({ step: trace.head.peek()?.naturalSteps ?? 0, cycle: trace.lastCycle.peek() });
    } else {
      this.goToStep(Number.MAX_SAFE_INTEGER);
    }
  }

  /** Asks for what is shown once more, where it could not be had before. */
  refresh(): void {
    if (this.explorer.playback.picture.peek() === undefined || this.failure.peek() !== undefined) {
      void this.again();
    }
  }

  /** Goes to where a record has just happened. */
  goToRecord(record: number): Promise<void> {
    return this.goWhen({ record });
  }

  goToStep(step: number): void {
    const head = this.explorer.trace.head.value;
    if (head === undefined) {
      return;
    }
    const { cycle } = this.explorer.playback.now.value;
    const viewer = this.explorer.view.reading.value === 'viewer';
    // Natural steps are counted from 1: before the first cycle with events there is nothing to see.
    const [first, last] = viewer ? [0, Math.max(0, head.steps - 1)] : [Math.min(1, head.naturalSteps), head.naturalSteps];
    const wanted = { step: Math.min(Math.max(first, step), last), cycle };
    this.goTo(wanted, viewer ? undefined : { reading: 'natural', naturalStep: wanted.step });
  }

  /** Steps from what is shown, or from what is on its way. */
  step(by: number): void {
    this.steps = Math.min(MOST_STEPS, Math.max(-MOST_STEPS, this.steps + by));
    if (!this.stepping) {
      this.walking = this.walk();
    }
  }

  /** One step at once, if it is there. For playing. */
  tryStep(direction: Direction): 'moved' | 'waiting' | 'ended' {
    const from = this.explorer.playback.picture.peek();
    if (from === undefined || this.jumps.busy || this.stepping) {
      return 'waiting';
    }
    const next = this.walker.tryNext(from, direction);
    if (typeof next === 'string') {
      return next;
    }
    this.show(next);
    return 'moved';
  }

  /** Asks for the wanted moment once more, behind what is on its way. */
  private async again(): Promise<void> {
    const { trace, view } = this.explorer;
    const asked = trace.fingerprint.peek();
    await Promise.all([this.walking, this.finding]);
    await this.jumps.idle();
    if (asked === trace.fingerprint.peek()) {
      this.turnTo(view.reading.peek());
    }
  }

  private momentAt(at: Position): Moment {
    const { trace, view } = this.explorer;
    const cycle = clamp(at.cycle, trace.firstCycle.peek(), trace.lastCycle.peek());
    const last = Math.max(0, (trace.head.peek()?.steps ?? 1) - 1);
    const step = Math.min(last, Math.max(0, at.step));
    return momentOf(view.reading.peek(), { step, cycle }, view.skipTo.peek());
  }

  private goWhen(question: Questions['when']): Promise<void> {
    return (this.finding = this.find(question));
  }

  private async find(question: Questions['when']): Promise<void> {
    const flight = (this.flight += 1);
    try {
      const { head } = await this.explorer.engine.ask(
        this.explorer.trace.fingerprint.peek(),
        'when',
        question,
      );
      if (flight === this.flight) {
        const natural = this.explorer.view.reading.peek() === 'natural';
        this.goTo({ step: natural ? head.naturalStep : head.step, cycle: BigInt(head.cycle) });
      }
    } catch (error) {
      this.fail(error);
    }
  }

  /** Asks for the wanted moment in a reading; of one that is known by its cycle, for the step too. */
  turnTo(reading: Reading): void {
    const { playback } = this.explorer;
    const shown = playback.picture.peek();
    const back = this.turn.to(reading, shown);
    if (back !== undefined) {
      this.goTo(back);
      return;
    }
    const wanted = playback.wanted.peek();
    const same = shown?.step === wanted.step && shown.cycle === wanted.cycle;
    const unknown = wanted.step < 0 || (same && shown.reading !== reading);
    if (reading === 'viewer' && unknown) {
      void this.goWhen({ reading: 'natural', cycle: String(wanted.cycle) });
    } else {
      this.goTo(wanted);
    }
  }

  private ask(moment: Moment): void {
    const shape = this.explorer.trace.shape.peek();
    if (shape === undefined) {
      return;
    }
    const trace = this.explorer.trace.fingerprint.peek();
    this.jumps.want({ trace, question: { ...moment, shape }, begun: performance.now() });
  }

  private async fetch(wish: Wish, stop: AbortSignal): Promise<void> {
    const key = `${wish.trace} ${this.explorer.trace.records.peek()} ${JSON.stringify(wish.question)}`;
    const waiting = setTimeout(() => (this.slow.value = true), 150);
    try {
      const known = this.kept.get(key);
      const picture = known ?? (await askPicture(this.explorer.engine, wish, stop));
      this.keep(key, picture);
      this.failure.value = undefined;
      if (wish.trace === this.explorer.trace.fingerprint.peek()) {
        this.explorer.playback.pictureTime.value = performance.now() - wish.begun;
        this.show(picture);
      }
    } catch (error) {
      this.fail(error);
    } finally {
      clearTimeout(waiting);
      this.slow.value = false;
    }
  }

  private keep(key: string, picture: Picture): void {
    if (picture.elements.byteLength * 256 < KEPT_BYTES) {
      this.kept.set(key, picture);
    }
  }

  /** Also when the wish has changed meanwhile: scrubbing shows what it passes. */
  private show(picture: Picture): void {
    const { playback } = this.explorer;
    playback.picture.value = picture;
    this.turn.arrive(picture);
    if (!this.jumps.hasWaiting) {
      playback.wanted.value = { step: picture.step, cycle: picture.cycle };
    }
  }

  private fail(error: unknown): void {
    if (!isCancelled(error)) {
      this.failure.value = error;
    }
  }

  private async walk(): Promise<void> {
    this.stepping = true;
    try {
      await this.jumps.idle();
      while (this.steps !== 0) {
        const direction: Direction = this.steps > 0 ? 1 : -1;
        const from = this.explorer.playback.picture.peek();
        const flight = this.flight;
        const next = from && (await this.walker.next(from, direction));
        if (next === undefined || flight !== this.flight) {
          this.steps = 0;
          break;
        }
        this.steps -= direction;
        this.show(next);
      }
    } catch (error) {
      this.steps = 0;
      this.fail(error);
    } finally {
      this.stepping = false;
    }
  }
}

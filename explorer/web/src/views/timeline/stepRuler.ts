import { effect, signal } from '@preact/signals';

import { Latest } from '../../base/latest';
import { Lru } from '../../base/lru';
import { ticksOf } from '../../base/ticks';
import { cycleAt } from '../../base/timeScale';
import { thousands } from '../../base/words';
import type { Answer } from '../../protocol/answers';
import type { Moment } from '../../protocol/questions';
import { labelsIn, type RulerTicks } from './drawOver';
import type { TimelineScene } from './scene';

const PAUSE = 80; // milliseconds for which a window must stand before its steps are asked for

interface Wish {
  readonly first: bigint;
  readonly last: bigint;
  readonly most: number;
  readonly viewer: boolean;
}

/**
 * The ruler in steps: round numbers of steps, where their cycles are. Steps are as dense as events,
 * so the engine tells where each stands; until it has, the ruler shows what it showed.
 */
export class StepRuler {
  readonly ticks = signal<RulerTicks>({ labelled: [], small: [] });
  private readonly known = new Lru<string, Answer<'when'>['head']>(1000);
  private readonly latest: Latest<Wish>;

  constructor(private readonly scene: TimelineScene) {
    this.latest = new Latest((wish, stop) => this.work(wish, stop));
  }

  /** Asks when the ruler is in steps and its window has come to rest; returns what ends that. */
  follow(): () => void {
    let timer: ReturnType<typeof setTimeout> | undefined;
    const end = effect(() => {
      const { explorer } = this.scene.page;
      if (explorer.time.unit.value !== 'step' || explorer.trace.head.value === undefined) {
        return;
      }
      const { view, size } = this.scene.frame.value;
      const viewer = explorer.view.asViewer.value;
      clearTimeout(timer);
      timer = setTimeout(() => {
        const last = cycleAt(view, size.width, size.width);
        const first = view.start < 0n ? 0n : view.start;
        this.latest.want({ first, last, most: labelsIn(size.width, size.rem), viewer });
      }, PAUSE);
    });
    return () => {
      clearTimeout(timer);
      this.latest.drop();
      end();
    };
  }

  private async when(moment: Moment, stop: AbortSignal): Promise<Answer<'when'>['head']> {
    const { engine, trace } = this.scene.page.explorer;
    const fingerprint = trace.fingerprint.peek();
    const key = fingerprint + JSON.stringify(moment);
    const known = this.known.get(key);
    if (known !== undefined) {
      return known;
    }
    const { head } = await engine.ask(fingerprint, 'when', moment, { signal: stop });
    this.known.set(key, head);
    return head;
  }

  private async stepOf(cycle: bigint, viewer: boolean, stop: AbortSignal): Promise<number> {
    const head = await this.when({ reading: 'natural', cycle: String(cycle) }, stop);
    return viewer ? head.step : head.naturalStep;
  }

  private async cycleOf(step: number, viewer: boolean, stop: AbortSignal): Promise<bigint> {
    const moment: Moment = viewer ? { reading: 'viewer', step } : { reading: 'natural', naturalStep: step };
    return BigInt((await this.when(moment, stop)).cycle);
  }

  private async work(wish: Wish, stop: AbortSignal): Promise<void> {
    try {
      const [first, last] = await Promise.all([
        this.stepOf(wish.first, wish.viewer, stop),
        this.stepOf(wish.last, wish.viewer, stop),
      ]);
      const { major } = ticksOf(BigInt(first), BigInt(last), wish.most);
      const labelled = await Promise.all(
        major.map(async (step) => {
          const at = await this.cycleOf(Number(step), wish.viewer, stop);
          return { at, text: thousands(step) };
        }),
      );
      this.ticks.value = { labelled, small: [] };
    } catch {
      // The ruler stays as it was; a lost server is told by the bar that says so.
    }
  }
}

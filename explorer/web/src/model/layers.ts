import { effect, signal, untracked } from '@preact/signals';

import { Latest } from '../base/latest';
import { Lru } from '../base/lru';
import type { Ask, Questions } from '../protocol/questions';
import type { Answer } from '../protocol/answers';
import { isCancelled } from '../protocol/fault';
import type { Explorer } from './explorer';
import { momentOf } from './moment';

/** The newest answer to a question that may change at any time; the old one stays meanwhile. */
class Followed<Name extends Ask> {
  readonly answer = signal<Answer<Name> | undefined>(undefined);
  readonly failure = signal<unknown>(undefined);
  private readonly latest: Latest<Questions[Name]>;
  private readonly kept = new Lru<string, Answer<Name>>(16);
  private of = ''; // the trace of the answer

  constructor(explorer: Explorer, name: Name) {
    this.latest = new Latest(async (question, stop) => {
      const trace = explorer.trace.fingerprint.peek();
      const key = `${trace} ${explorer.trace.records.peek()} ${JSON.stringify(question)}`;
      try {
        const answer = this.kept.get(key) ?? (await explorer.engine.ask(trace, name, question, { signal: stop }));
        this.kept.set(key, answer);
        if (trace === explorer.trace.fingerprint.peek()) {
          this.of = trace;
          this.answer.value = answer;
          this.failure.value = undefined;
        }
      } catch (error) {
        if (!isCancelled(error)) {
          this.answer.value = this.of === trace ? this.answer.peek() : undefined;
          this.failure.value = error;
        }
      }
    });
  }

  get busy(): boolean {
    return this.latest.busy;
  }

  want(question: Questions[Name]): void {
    untracked(() => this.latest.want(question)); // what asking looks at is no reason to ask again
  }
}

/** The step from which on the viewer's colours of what nothing has touched stay the same. */
const RESTING_STEP = 32;

/** What is laid over the floorplan: heat and link load of the range, the viewer's colours. */
export class Layers {
  readonly heat: Followed<'heat'>;
  readonly links: Followed<'links'>;
  readonly kinds: Followed<'kinds'>;
  readonly palette: Followed<'palette'>;

  constructor(private readonly explorer: Explorer) {
    this.heat = new Followed(explorer, 'heat');
    this.links = new Followed(explorer, 'links');
    this.kinds = new Followed(explorer, 'kinds');
    this.palette = new Followed(explorer, 'palette');
  }

  get busy(): boolean {
    return this.heat.busy || this.links.busy || this.kinds.busy || this.palette.busy;
  }

  /** The load at which the scale of links ends. */
  get loadEnd(): number {
    const head = this.links.answer.value?.head;
    return (this.explorer.view.toFullest.value ? head?.highest : head?.end) ?? 0;
  }

  /** The range, or the whole run where none is selected. */
  span(): { first: string; last: string } {
    const { time, trace } = this.explorer;
    const range = time.range.value;
    return {
      first: String(range?.first ?? trace.firstCycle.value),
      last: String(range?.last ?? trace.lastCycle.value),
    };
  }

  follow(): () => void {
    const ends = [
      effect(() => this.followHeat()),
      effect(() => this.followLinks()),
      effect(() => this.followKinds()),
      effect(() => this.followPalette()),
    ];
    return () => ends.forEach((end) => end());
  }

  /** Of the trace, whenever that is told of: what failed, or was of less, is asked for again. */
  private shape() {
    const { head, shape } = this.explorer.trace;
    return head.value && shape.value;
  }

  private followHeat(): void {
    const { view, trace } = this.explorer;
    const shape = this.shape();
    if (shape !== undefined && view.colourBy.value === 'heat' && trace.fingerprint.value !== '') {
      this.heat.want({ ...this.span(), shape, what: view.heatOf.value });
    }
  }

  private followLinks(): void {
    const { view, trace } = this.explorer;
    const shape = this.shape();
    if (shape !== undefined && view.linkLoad.value && trace.fingerprint.value !== '') {
      this.links.want({ ...this.span(), shape });
    }
  }

  /** The kinds of the moment that is shown; while playing, of those that there is time for. */
  private followKinds(): void {
    const { view, playback } = this.explorer;
    const shape = this.shape();
    const picture = playback.picture.value;
    if (shape !== undefined && picture !== undefined && view.colourBy.value === 'kind') {
      const moment = momentOf(picture.reading, picture, view.skipTo.peek());
      this.kinds.want({ ...moment, shape });
    }
  }

  private followPalette(): void {
    const { view, trace, playback } = this.explorer;
    const picture = playback.picture.value;
    if (view.asViewer.value && picture?.reading === 'viewer' && trace.fingerprint.value !== '') {
      this.palette.want({ step: Math.min(RESTING_STEP, picture.step) });
    }
  }
}

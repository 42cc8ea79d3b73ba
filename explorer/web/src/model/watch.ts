import { effect, signal } from '@preact/signals';

import type { Connection } from '../engine/engine';
import { AskError, isCancelled } from '../protocol/fault';
import type { News, Status, TraceStatus } from '../protocol/status';
import { broken, empty, failed, grown, indexing, lost, newBuild, refused, replaced } from './alertWords';
import type { Explorer } from './explorer';

const AGAIN = 1000; // milliseconds between looks at a trace that is being indexed
const LOOKS = 60; // at one that was replaced, until it is known again

/** Looks after the trace and the server: opens, follows the index, and tells what went wrong. */
export class Watch {
  /** 0 to 1 while the trace is indexed, undefined when it is complete. */
  readonly indexed = signal<number | undefined>(undefined);

  /** Called where the page must be loaded anew. */
  reload: () => void = () => undefined;

  /** What the address of the page asks for: a name or a fingerprint. */
  wished = '';

  private build: string | undefined;
  private restart: Status['restart'] | undefined;
  private begun: { readonly at: number; readonly share: number } | undefined;
  private timer: ReturnType<typeof setTimeout> | undefined;
  private clock: ReturnType<typeof setInterval> | undefined;

  constructor(private readonly explorer: Explorer) {}

  follow(): () => void {
    const ends = [
      this.explorer.engine.onNews((news) => this.hear(news)),
      effect(() => this.followConnection(this.explorer.engine.connection.value)),
      effect(() => this.followFailures()),
    ];
    return () => {
      clearTimeout(this.timer);
      clearInterval(this.clock);
      ends.forEach((end) => end());
    };
  }

  /** Asks what there is, and opens the trace that is wished for or the first one. */
  async open(): Promise<void> {
    try {
      const status = await this.explorer.engine.status();
      this.takeStatus(status);
      const wished = status.traces.find(({ fingerprint, name }) => [fingerprint, name].includes(this.wished));
      const trace = wished ?? status.traces[0];
      if (trace !== undefined) {
        await this.show(trace);
      }
    } catch (error) {
      this.fail(error);
    }
  }

  /** Shows another of the traces that the server has opened. */
  async show(trace: TraceStatus): Promise<void> {
    const store = this.explorer.trace;
    if (trace.fingerprint !== store.fingerprint.peek()) {
      store.fingerprint.value = trace.fingerprint;
      store.head.value = undefined;
      this.explorer.playback.picture.value = undefined;
      (['replaced', 'truncated', 'grown', 'broken', 'empty', 'failed'] as const).forEach((id) => this.explorer.alerts.settle(id));
    }
    this.wished = trace.fingerprint;
    this.takeIndex(trace.indexed);
    try {
      await this.takeHead();
    } catch (error) {
      this.fail(error);
    }
  }

  private takeStatus(status: Status): void {
    this.explorer.trace.all.value = status.traces;
    this.build ??= status.build;
    this.restart = status.restart;
    if (status.build !== this.build) {
      this.explorer.alerts.raise(newBuild(() => this.reload()));
    }
  }

  private async takeHead(): Promise<void> {
    const { trace, alerts, engine, pilot } = this.explorer;
    const asked = trace.fingerprint.peek();
    const { head } = await engine.ask(asked, 'trace', {});
    if (asked !== trace.fingerprint.peek()) {
      return; // another one was chosen meanwhile
    }
    trace.head.value = head;
    head.records === 0 ? alerts.raise(empty()) : alerts.settle('empty');
    if (head.end === null) {
      alerts.settle('broken');
    } else {
      alerts.raise(broken(head.end, () => pilot.goToLast()));
    }
    if (this.indexed.peek() !== undefined) {
      this.tellIndex();
      clearTimeout(this.timer);
      this.timer = setTimeout(() => void this.lookAgain(), AGAIN);
    }
  }

  /** How far the index is, and how long it takes from here at the pace so far. */
  private tellIndex(): void {
    const share = this.indexed.peek();
    const head = this.explorer.trace.head.peek();
    if (share === undefined) {
      return;
    }
    const now = Date.now();
    this.begun ??= { at: now, share };
    const passed = (now - this.begun.at) / 1000;
    const gained = share - this.begun.share;
    const secondsLeft = passed > 1 && gained > 0 ? Math.ceil((passed * (1 - share)) / gained) : undefined;
    const steps = this.explorer.view.reading.peek() === 'viewer' ? head?.steps : head?.naturalSteps;
    const lastStep = steps === undefined || steps === 0 ? undefined : steps - 1;
    this.explorer.alerts.raise(indexing({ share, secondsLeft, lastStep }));
  }

  private takeIndex(indexed: { readonly done: number; readonly all: number } | null): void {
    if (indexed === null || indexed.done >= indexed.all) {
      this.indexed.value = undefined;
      this.begun = undefined;
      this.explorer.alerts.settle('index');
    } else {
      this.indexed.value = indexed.done / indexed.all;
    }
  }

  /** The same trace, of which more may be known now. */
  private async lookAgain(): Promise<void> {
    try {
      const status = await this.explorer.engine.status();
      this.takeStatus(status);
      const own = status.traces.find(({ fingerprint }) => fingerprint === this.explorer.trace.fingerprint.peek());
      if (own === undefined) {
        this.tellReplaced(false);
        return;
      }
      this.takeIndex(own.state === 'indexing' ? own.indexed : null);
      await this.takeHead();
      this.explorer.pilot.refresh();
    } catch (error) {
      this.fail(error);
    }
  }

  private hear(news: News): void {
    if (news.trace !== this.explorer.trace.fingerprint.peek()) {
      return;
    }
    switch (news.news) {
      case 'index':
        this.takeIndex(news);
        this.tellIndex();
        break;
      case 'indexed':
        this.takeIndex(null);
        void this.lookAgain();
        break;
      case 'failed':
      case 'notes':
        void this.lookAgain();
        break;
      case 'grown':
        this.tellGrown(news.records);
        break;
      case 'changed':
      case 'truncated':
        this.tellReplaced(news.news === 'truncated');
        break;
    }
  }

  private tellGrown(records: number | undefined): void {
    const more = (records ?? 0) - (this.explorer.trace.head.peek()?.records ?? 0);
    this.explorer.alerts.raise(grown(more > 0 ? more : undefined, () => void this.openAgain()));
  }

  private tellReplaced(shorter: boolean): void {
    this.explorer.playback.playing.value = false;
    this.explorer.alerts.raise(replaced(new Date(), shorter, () => void this.openAgain()));
    const before = this.explorer.trace.status.peek();
    if (before !== undefined && !shorter) {
      void this.followSuccessor(before, LOOKS);
    }
  }

  /** A file that was written anew with as much in it is the same run again: it is opened by itself. */
  private async followSuccessor(before: TraceStatus, looks: number): Promise<void> {
    const { engine, trace, panels } = this.explorer;
    const status = await engine.status().catch(() => undefined);
    const next = status?.traces.find(({ was }) => was?.includes(before.fingerprint) === true);
    const gone = before.fingerprint !== trace.fingerprint.peek();
    if (gone || looks === 0 || next?.state === 'failed') {
      return;
    }
    if (next === undefined || next.state === 'indexing') {
      setTimeout(() => void this.followSuccessor(before, looks - 1), AGAIN);
    } else if (next.bytes === before.bytes && next.records === before.records) {
      await this.openAgain(next.fingerprint);
      panels.tell('The file was written anew, with as many records as before. It is open again.');
    }
  }

  /** The trace that now has the name of the one that was shown. */
  async openAgain(wished = this.explorer.trace.status.peek()?.name ?? ''): Promise<void> {
    this.wished = wished;
    (['replaced', 'truncated', 'grown'] as const).forEach((id) => this.explorer.alerts.settle(id));
    await this.open();
  }

  private followConnection(connection: Connection): void {
    clearInterval(this.clock);
    this.clock = undefined;
    if (connection.state === 'lost') {
      this.explorer.playback.playing.value = false;
      this.tellLost(connection);
      this.clock = setInterval(() => this.tellLost(connection), 1000);
    } else if (connection.state === 'connected') {
      this.explorer.alerts.settle('lost');
      if (this.build !== undefined) {
        void this.lookAgain();
      }
    }
  }

  private tellLost(connection: { readonly since: number; readonly nextTry: number }): void {
    const now = Date.now();
    const seconds = Math.max(0, Math.round((now - connection.since) / 1000));
    const next = Math.max(0, Math.ceil((connection.nextTry - now) / 1000));
    const restart = this.restart ?? { command: 'marrowfin-explorer', sameLink: false };
    this.explorer.alerts.raise(lost(seconds, next, restart, () => this.explorer.engine.retry()));
  }

  private followFailures(): void {
    const { pilot, layers, causes } = this.explorer;
    const failures = [pilot.failure, layers.heat.failure, layers.links.failure, causes.failure];
    const error = failures.map((failure) => failure.value).find((failure) => failure !== undefined);
    if (error !== undefined) {
      this.fail(error);
    } else {
      this.explorer.alerts.settle('failed');
      this.explorer.alerts.settle('refused');
    }
  }

  private fail(error: unknown): void {
    const code = error instanceof AskError ? error.code : undefined;
    if (isCancelled(error) || code === 'lost') {
      return; // told where the connection is followed
    }
    if (code === 'too-much' || code === 'too-large') {
      this.explorer.alerts.raise(refused());
    } else if (code === 'changed' || code === 'no-such-trace') {
      this.tellReplaced(false);
    } else if (code !== 'not-indexed-yet') {
      this.explorer.alerts.raise(failed(error));
    }
  }
}

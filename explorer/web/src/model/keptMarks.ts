import { effect, signal, untracked } from '@preact/signals';

import type { KeptMarks as Kept, SentMark, Site } from '../engine/site';
import { AskError } from '../protocol/fault';
import type { Piece } from '../protocol/questions';
import type { Explorer } from './explorer';
import type { Mark } from './markStore';

const markOf = ({ name, cycle, piece }: SentMark): Mark => ({
  name,
  cycle: BigInt(cycle),
  ...(piece === undefined ? {} : { piece: piece as Piece }),
});

const sentOf = ({ name, cycle, piece }: Mark): SentMark => ({
  name,
  cycle: String(cycle),
  ...(piece === undefined ? {} : { piece }),
});

/** The marks beside the trace: read when it is opened, written when that is asked for and never else. */
export class KeptMarks {
  /** Why they cannot be read or written. */
  readonly trouble = signal('');
  readonly busy = signal(false);
  private state = '';
  private trace = '';

  constructor(
    private readonly explorer: Explorer,
    private readonly site: Site,
  ) {}

  /** Reads those of each trace that is opened; returns what ends that. */
  follow(): () => void {
    return effect(() => {
      const trace = this.explorer.trace.fingerprint.value;
      if (trace !== this.trace) {
        this.trace = trace;
        untracked(() => void this.read());
      }
    });
  }

  /** Keeps the marks that there are now. */
  async save(): Promise<void> {
    const { marks, panels } = this.explorer;
    await this.work(async (trace) => {
      try {
        this.take(trace, await this.site.saveMarks(trace, this.state, marks.marks.peek().map(sentOf)));
        panels.tell('The marks are saved beside the trace.');
      } catch (error) {
        if (!(error instanceof AskError && error.code === 'changed')) {
          throw error;
        }
        this.take(trace, await this.site.marks(trace));
        marks.addKept();
        this.trouble.value = 'Others have saved marks meanwhile. Theirs are here now too: save again.';
      }
    });
  }

  private read(): Promise<void> {
    return this.work(async (trace) => {
      this.explorer.marks.kept.value = undefined;
      this.take(trace, await this.site.marks(trace));
      if (trace === this.trace) {
        this.explorer.marks.addKept();
      }
    });
  }

  private take(trace: string, kept: Kept): void {
    if (trace === this.trace) {
      this.state = kept.state;
      this.explorer.marks.kept.value = kept.marks.map(markOf);
    }
  }

  private async work(what: (trace: string) => Promise<void>): Promise<void> {
    const { trace } = this;
    if (trace === '') {
      return;
    }
    this.busy.value = true;
    this.trouble.value = '';
    try {
      await what(trace);
    } catch (error) {
      if (trace === this.trace) {
        this.trouble.value = error instanceof Error ? error.message : '';
      }
    }
    this.busy.value = false;
  }
}

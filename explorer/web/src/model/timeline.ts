import { effect, signal, untracked } from '@preact/signals';

import type { Explorer } from './explorer';
import { TimeFeeds } from './timeFeeds';
import { TimeMover, type Frames } from './timeMover';

/** The timeline's data and its window's moves. */
export class Timeline {
  readonly feeds: TimeFeeds;
  readonly mover: TimeMover;

  /** Where the pointer is over the strips, as a share of their width: what zooming leaves in place. */
  readonly pointer = signal<number | undefined>(undefined);

  private fingerprint = '';
  private shown: bigint | undefined;

  constructor(
    private readonly explorer: Explorer,
    frames?: Frames,
  ) {
    this.feeds = new TimeFeeds(explorer);
    this.mover = new TimeMover(explorer, frames);
  }

  /** Whether data or a move of the window is on its way. */
  get busy(): boolean {
    return this.feeds.busy || this.mover.moving;
  }

  /** What stays in place when keys zoom: what is pointed at, else the playhead if it is to be seen. */
  zoomShare(): number {
    const { view } = this.mover;
    const at = Number(this.explorer.playback.now.peek().cycle - view.start) - view.fraction;
    const share = at / view.span;
    return this.pointer.peek() ?? (share >= 0 && share <= 1 ? share : 0.5);
  }

  /** Follows trace and playhead; returns what ends that. */
  follow(): () => void {
    const { trace, playback } = this.explorer;
    const ends: (() => void)[] = [
      effect(() => {
        const fingerprint = trace.fingerprint.value;
        const known = trace.head.value !== undefined;
        untracked(() => this.turnTo(fingerprint, known));
      }),
      effect(() => {
        const picture = playback.picture.value;
        untracked(() => this.turnPage(picture?.cycle));
      }),
    ];
    ends.push(this.feeds.hits.follow());
    return () => ends.forEach((end) => end());
  }

  /** What is shown has moved to another cycle; what is shown first leaves the window as a link has it. */
  private turnPage(cycle: bigint | undefined): void {
    const moved = this.shown !== undefined && cycle !== undefined && this.shown !== cycle;
    this.shown = cycle;
    if (moved && this.explorer.time.view.value !== undefined) {
      this.mover.follow(cycle);
    }
  }

  /** Another trace, or another state of the same one: what was counted of it may be more now. */
  private turnTo(fingerprint: string, known: boolean): void {
    if (this.fingerprint !== fingerprint) {
      this.feeds.clear();
    }
    this.fingerprint = fingerprint;
    if (known) {
      this.feeds.renew();
      void this.feeds.fetchPhases();
    }
  }
}

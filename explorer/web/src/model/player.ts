import { effect } from '@preact/signals';

import type { Explorer } from './explorer';
import type { Direction } from './walker';

const LONGEST_LAG = 500; // milliseconds that are made up for; a page that slept does not rush

/**
 * Plays: as many steps as the clock asks for, in either direction, also those that a slow frame or a
 * late answer kept from being shown in time. Where changes do not come fast enough it waits; at an end of the trace it stops, or begins the loop again.
 */
export class Player {
  private due = 0;
  private last: number | undefined;
  private turning = false; // on the way to where a loop begins again

  constructor(private readonly explorer: Explorer) {}

  follow(): () => void {
    return effect(() => {
      this.explorer.playback.playing.value;
      this.due = 0;
      this.last = undefined;
    });
  }

  get direction(): Direction {
    return this.explorer.playback.speed.peek() < 0 ? -1 : 1;
  }

  toggle(): void {
    const { playback } = this.explorer;
    playback.playing.value = !playback.playing.value && this.explorer.trace.head.value !== undefined;
    if (playback.playing.value) {
      this.startWithin();
    }
  }

  /** To be called before each frame while playing, with the time in milliseconds. */
  tick(now: number): void {
    const { playback } = this.explorer;
    if (!playback.playing.peek()) {
      return;
    }
    const passed = Math.max(0, now - (this.last ?? now));
    this.last = now;
    if (this.turning) {
      return;
    }
    const pace = Math.abs(playback.speed.peek()) / 1000;
    this.due = Math.min(LONGEST_LAG * pace + 1, this.due + passed * pace);
    while (this.due >= 1) {
      if (this.atEnd()) {
        this.turn();
        return;
      }
      const moved = this.explorer.pilot.tryStep(this.direction);
      if (moved === 'ended') {
        this.turn();
        return;
      }
      if (moved === 'waiting') {
        return;
      }
      this.due -= 1;
    }
  }

  private loopRange() {
    const { playback, time, trace } = this.explorer;
    if (!playback.loop.peek()) {
      return undefined;
    }
    return time.range.peek() ?? { first: trace.firstCycle.peek(), last: trace.lastCycle.peek() };
  }

  /** Whether the next step would leave the loop. */
  private atEnd(): boolean {
    const range = this.loopRange();
    const { cycle } = this.explorer.playback.now.peek();
    return range !== undefined && (this.direction === 1 ? cycle >= range.last : cycle <= range.first);
  }

  /** Begins the loop again, or stops. */
  private turn(): void {
    const range = this.loopRange();
    this.due = 0;
    if (range === undefined || range.first === range.last) {
      this.explorer.playback.playing.value = false;
      return;
    }
    this.turning = true;
    const gone = this.explorer.pilot.goToCycle(this.direction === 1 ? range.first : range.last);
    void gone.finally(() => (this.turning = false));
  }

  /** A loop begins within its range. At the end of the trace playing begins at the start again. */
  private startWithin(): void {
    const { playback, trace, pilot } = this.explorer;
    const range = this.loopRange();
    const { cycle } = playback.now.peek();
    if (range !== undefined && (cycle < range.first || cycle >= range.last)) {
      void pilot.goToCycle(this.direction === 1 ? range.first : range.last);
    } else if (this.direction === 1 && cycle >= trace.lastCycle.peek()) {
      pilot.goToFirst();
    }
  }
}

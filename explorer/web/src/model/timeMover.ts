import {
  between,
  filling,
  panned,
  sameWindow,
  showing,
  windowOf,
  within,
  zoomed,
  type TimeBounds,
  type TimeWindow,
} from '../base/timeScale';
import type { Explorer } from './explorer';

/** Of a screen: one press of a key that pans. */
const PAN_STEP = 0.12;
/** A held key gets faster by this at each repetition, up to MOST_PACE. */
const PACE = 1.15;
const MOST_PACE = 4;
const HELD = 250; // milliseconds within which another press means that the key is held
const EASE = 120; // milliseconds
const FLIGHT = 200;
const MARGIN = 0.1;

/** What calls back at the next frame, and the time; a test has its own. */
export interface Frames {
  request(callback: () => void): void;
  now(): number;
}

const REAL: Frames = {
  request: (callback) => void requestAnimationFrame(callback),
  now: () => performance.now(),
};

interface Flight {
  readonly from: TimeWindow;
  readonly to: TimeWindow;
  readonly begun: number;
  readonly length: number;
}

/** Moves the timeline's window: at once under the hand, eased by keys, in a flight to a range. */
export class TimeMover {
  private flight: Flight | undefined;
  private pace = 1;
  private lastPan = { at: -Infinity, direction: 0 };

  constructor(
    private readonly explorer: Explorer,
    private readonly frames: Frames = REAL,
  ) {}

  get moving(): boolean {
    return this.flight !== undefined;
  }

  get bounds(): TimeBounds {
    const { trace } = this.explorer;
    return { first: trace.firstCycle.value, last: trace.lastCycle.value };
  }

  /** What is shown now. */
  get view(): TimeWindow {
    const bounds = this.bounds;
    const view = this.explorer.time.view.value;
    return view === undefined ? windowOf(bounds) : within(view, bounds);
  }

  /** At once: the hand moves it. */
  set(view: TimeWindow): void {
    this.flight = undefined;
    this.show(view);
  }

  panBy(cycles: number): void {
    this.set(panned(this.view, cycles));
  }

  zoomBy(factor: number, share: number): void {
    this.set(within(zoomed(this.view, factor, share), this.bounds, share));
  }

  /** Eased; faster while it is called again and again. -1 goes back. */
  pan(direction: 1 | -1): void {
    const now = this.frames.now();
    const held = now - this.lastPan.at < HELD && this.lastPan.direction === direction;
    this.pace = held ? Math.min(MOST_PACE, this.pace * PACE) : 1;
    this.lastPan = { at: now, direction };
    const goal = this.goal;
    this.fly(panned(goal, direction * PAN_STEP * this.pace * goal.span), EASE);
  }

  /** Eased, with the cycle at `share` of the strip left in place. */
  zoom(factor: number, share: number): void {
    this.fly(within(zoomed(this.goal, factor, share), this.bounds, share), EASE);
  }

  whole(): void {
    this.fly(windowOf(this.bounds), FLIGHT);
  }

  /** The range fills four fifths. */
  toSpan(first: bigint, last: bigint): void {
    this.fly(filling(first, last, 0.8), FLIGHT);
  }

  /** Turns the page when a cycle has left it: forward it then stands near the left edge, backward near the right. */
  follow(cycle: bigint): void {
    const view = this.goal;
    if (sameWindow(view, showing(view, cycle, 0))) {
      return;
    }
    const edge = cycle > view.start ? MARGIN : 1 - MARGIN;
    this.set({ ...panned({ ...view, start: cycle, fraction: 0 }, -edge * view.span) });
  }

  private get goal(): TimeWindow {
    return this.flight?.to ?? this.view;
  }

  private show(view: TimeWindow): void {
    const bounds = this.bounds;
    const kept = within(view, bounds);
    const all = sameWindow(kept, windowOf(bounds));
    this.explorer.time.view.value = all ? undefined : kept;
  }

  private fly(view: TimeWindow, length: number): void {
    const to = within(view, this.bounds);
    if (this.explorer.settings.reducedMotion.peek()) {
      this.set(to);
      return;
    }
    const running = this.flight !== undefined;
    this.flight = { from: this.view, to, begun: this.frames.now(), length };
    if (!running) {
      this.frames.request(() => this.frame());
    }
  }

  private frame(): void {
    const { flight } = this;
    if (flight === undefined) {
      return;
    }
    const t = Math.min(1, (this.frames.now() - flight.begun) / flight.length);
    this.show(between(flight.from, flight.to, 1 - (1 - t) ** 3));
    if (t < 1) {
      this.frames.request(() => this.frame());
    } else {
      this.flight = undefined;
    }
  }
}

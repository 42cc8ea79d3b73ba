import { beforeEach, describe, expect, it } from 'vitest';

import { xOf } from '../../src/base/timeScale';
import { FakeEngine } from '../../src/engine/fakeEngine';
import { Explorer } from '../../src/model/explorer';
import { TimeMover } from '../../src/model/timeMover';
import type { TraceHead } from '../../src/protocol/answers';

let explorer: Explorer;
let mover: TimeMover;
let frames: (() => void)[];
let now: number;

/** Lets time pass, frame by frame. */
function pass(milliseconds: number): void {
  for (const end = now + milliseconds; now < end; now += 10) {
    frames.splice(0).forEach((frame) => frame());
  }
  frames.splice(0).forEach((frame) => frame());
}

beforeEach(() => {
  explorer = new Explorer(new FakeEngine({}));
  explorer.trace.head.value = { firstCycle: '0', lastCycle: '9999', records: 5 } as TraceHead;
  frames = [];
  now = 0;
  mover = new TimeMover(explorer, { request: (frame) => frames.push(frame), now: () => now });
});

describe("the timeline's window", () => {
  it('is the whole run until it is moved, and again when it shows all', () => {
    expect(mover.view.span).toBe(10_000);
    mover.set({ start: 100n, fraction: 0, span: 50 });
    expect(explorer.time.view.value?.start).toBe(100n);
    mover.zoomBy(1e6, 0.5);
    expect(explorer.time.view.value).toBeUndefined();
  });

  it('grows with the trace while it shows all', () => {
    explorer.trace.head.value = { firstCycle: '0', lastCycle: '19999', records: 9 } as TraceHead;
    expect(mover.view.span).toBe(20_000);
  });

  it('eases to where a key sends it, and arrives', () => {
    mover.set({ start: 100n, fraction: 0, span: 100 });
    mover.pan(1);
    expect(mover.moving).toBe(true);
    pass(60);
    const between = xOf(mover.view, 100, 100n);
    expect(between).toBeLessThan(0);
    pass(200);
    expect(xOf(mover.view, 100, 100n)).toBeCloseTo(-12);
    expect(mover.moving).toBe(false);
  });

  it('moves faster while a key is held', () => {
    mover.set({ start: 100n, fraction: 0, span: 100 });
    for (let i = 0; i < 10; ++i) {
      mover.pan(1);
      pass(30);
    }
    pass(500);
    expect(xOf(mover.view, 100, 100n)).toBeLessThan(-12 * 10 * 1.5);
    mover.set({ start: 100n, fraction: 0, span: 100 });
    now += 1000;
    mover.pan(1);
    pass(500);
    expect(xOf(mover.view, 100, 100n)).toBeCloseTo(-12);
  });

  it('does not ease for those who want no motion', () => {
    explorer.settings.reducedMotion.value = true;
    mover.toSpan(1000n, 1079n);
    expect(mover.moving).toBe(false);
    expect(mover.view.span).toBeCloseTo(100);
  });

  it('leaves the pointed cycle in place while it zooms, also at the edges of the run', () => {
    mover.set({ start: 100n, fraction: 0, span: 100 });
    mover.zoomBy(0.5, 0.25);
    expect(xOf(mover.view, 1000, 125n)).toBeCloseTo(250);
  });

  it('turns the page when the playhead leaves it', () => {
    mover.set({ start: 100n, fraction: 0, span: 100 });
    mover.follow(150n);
    expect(mover.view.start).toBe(100n);
    mover.follow(200n);
    expect(mover.view.start).toBe(190n);
    mover.follow(189n);
    expect(mover.view.start).toBe(99n);
  });

  it('flies to a range, which then fills four fifths', () => {
    mover.toSpan(1000n, 1079n);
    pass(400);
    expect(xOf(mover.view, 100, 1000n)).toBeCloseTo(10);
    expect(xOf(mover.view, 100, 1080n)).toBeCloseTo(90);
  });
});

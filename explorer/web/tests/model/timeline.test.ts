import { beforeEach, describe, expect, it } from 'vitest';

import type { Picture } from '../../src/base/picture';
import { FakeEngine } from '../../src/engine/fakeEngine';
import { Explorer } from '../../src/model/explorer';
import { Timeline } from '../../src/model/timeline';
import type { TraceHead } from '../../src/protocol/answers';

let explorer: Explorer;
let timeline: Timeline;

const show = (cycle: bigint) => (explorer.playback.picture.value = { cycle, step: Number(cycle) } as Picture);

beforeEach(() => {
  explorer = new Explorer(new FakeEngine({ phases: () => ({ head: { phases: [{ first: '5', last: '9' }] } }) }));
  explorer.trace.head.value = {
    firstCycle: '0',
    lastCycle: '9999',
    shape: { clusters: [1, 1], domains: [1, 1], pes: [4, 4] },
  } as unknown as TraceHead;
  timeline = new Timeline(explorer, { request: () => undefined, now: () => 0 });
});

describe('the timeline', () => {
  it('keeps the window of a link, wherever the playhead is', () => {
    explorer.time.view.value = { start: 500n, fraction: 0, span: 100 };
    const end = timeline.follow();
    show(7n);
    expect(timeline.mover.view.start).toBe(500n);
    show(8n);
    expect(timeline.mover.view.start).not.toBe(500n);
    end();
  });

  it('stays where it is while the playhead is in it, and when it shows all', () => {
    const end = timeline.follow();
    show(7n);
    show(9000n);
    expect(explorer.time.view.value).toBeUndefined();
    explorer.time.view.value = { start: 8900n, fraction: 0, span: 200 };
    show(9001n);
    expect(timeline.mover.view.start).toBe(8900n);
    end();
  });

  it('knows the phases of the trace', async () => {
    const end = timeline.follow();
    await new Promise((resolve) => setTimeout(resolve));
    expect(timeline.feeds.phases.value).toEqual([{ first: 5n, last: 9n }]);
    end();
  });

  it('zooms about the pointer, else about the playhead, else about the middle', () => {
    explorer.time.view.value = { start: 100n, fraction: 0, span: 100 };
    show(125n);
    expect(timeline.zoomShare()).toBeCloseTo(0.25);
    show(900n);
    expect(timeline.zoomShare()).toBe(0.5);
    timeline.pointer.value = 0.75;
    expect(timeline.zoomShare()).toBe(0.75);
  });
});

describe('the overview', () => {
  const hits = { first: BigUint64Array.of(0n, 5000n), hit: Uint8Array.of(0, 1) };

  it('marks what was looked for, and nothing once that is over', async () => {
    const asked: unknown[] = [];
    explorer = new Explorer(
      new FakeEngine({
        phases: () => ({ head: { phases: [] } }),
        hits: (question) => {
          asked.push(question);
          return { head: { last: '9999' }, columns: hits };
        },
      }),
    );
    explorer.trace.head.value = { firstCycle: '0', lastCycle: '9999', shape: { clusters: [1, 1], domains: [1, 1], pes: [4, 4] } } as unknown as TraceHead;
    timeline = new Timeline(explorer, { request: () => undefined, now: () => 0 });
    const end = timeline.follow();
    expect(asked).toEqual([]);
    explorer.time.found.value = { thread: 3 };
    await new Promise((resolve) => setTimeout(resolve, 5));
    expect(asked).toMatchObject([{ filter: { thread: 3 }, first: '0', last: '9999' }]);
    expect(timeline.feeds.hits.fed.value?.answer.columns.hit).toEqual(hits.hit);
    explorer.time.found.value = undefined;
    expect(timeline.feeds.hits.fed.value).toBeUndefined();
    end();
  });
});

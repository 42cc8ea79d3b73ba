import { beforeEach, expect, test } from 'vitest';

import { timelineCommands } from '../../src/commands/timelineCommands';
import { Registry } from '../../src/commands/registry';
import { FakeEngine } from '../../src/engine/fakeEngine';
import { Explorer } from '../../src/model/explorer';
import { Timeline } from '../../src/model/timeline';
import type { TraceHead } from '../../src/protocol/answers';

let explorer: Explorer;
let commands: Registry;

beforeEach(() => {
  explorer = new Explorer(new FakeEngine({}));
  explorer.trace.head.value = { firstCycle: '10', lastCycle: '900' } as unknown as TraceHead;
  commands = new Registry();
  commands.add(timelineCommands(explorer, new Timeline(explorer, { request: () => undefined, now: () => 0 })));
});

function at(cycle: bigint, id: 'timeline.rangeFrom' | 'timeline.rangeTo') {
  explorer.playback.wanted.value = { step: 1, cycle };
  commands.run(id);
  return explorer.time.range.value;
}

test('A range begins and ends at the playhead, without a mouse', () => {
  expect(at(100n, 'timeline.rangeFrom')).toEqual({ first: 100n, last: 900n });
  expect(at(300n, 'timeline.rangeTo')).toEqual({ first: 100n, last: 300n });
  expect(at(200n, 'timeline.rangeFrom')).toEqual({ first: 200n, last: 300n });
});

test('The other end gives way where it would lie on the wrong side', () => {
  at(100n, 'timeline.rangeFrom');
  at(300n, 'timeline.rangeTo');
  expect(at(400n, 'timeline.rangeFrom')).toEqual({ first: 400n, last: 900n });
  expect(at(50n, 'timeline.rangeTo')).toEqual({ first: 10n, last: 50n });
});

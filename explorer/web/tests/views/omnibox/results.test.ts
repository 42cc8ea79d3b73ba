import { beforeEach, describe, expect, it } from 'vitest';

import { findCommands } from '../../../src/commands/findCommands';
import { markCommands } from '../../../src/commands/markCommands';
import { Registry } from '../../../src/commands/registry';
import { FakeEngine } from '../../../src/engine/fakeEngine';
import { EventWalk } from '../../../src/model/eventWalk';
import { Explorer } from '../../../src/model/explorer';
import type { TraceHead } from '../../../src/protocol/answers';
import type { Page } from '../../../src/views/context';
import { commandResults, findResults } from '../../../src/views/omnibox/results';

let page: Page;
let went: unknown[];

const HEAD = {
  records: 1000,
  shape: { clusters: [2, 2], domains: [1, 1], pes: [4, 4] },
  firstCycle: '0',
  lastCycle: '9999',
  attributes: [{ name: 'packet', type: 'u64' }],
  counters: [{ name: 'queue length', places: true }],
  about: { places: [[3, 7, 'root']] },
} as unknown as TraceHead;

beforeEach(() => {
  const explorer = new Explorer(new FakeEngine({}));
  explorer.trace.head.value = HEAD;
  const commands = new Registry();
  commands.add(findCommands(explorer));
  commands.add(markCommands(explorer));
  went = [];
  const go = (what: string) => (to: unknown) => went.push([what, to]);
  const travel = { goToCycle: go('cycle'), goToRecord: go('record'), goToStep: go('step') };
  page = { explorer, commands, waits: [], walk: new EventWalk(explorer), travel } as unknown as Page;
});

const names = (text: string) =>
  findResults(page, text, undefined).map((result) => result.parts.map((part) => part.text).join(''));
const run = (text: string, at = 0) => findResults(page, text, undefined)[at]?.run(false);

describe('what a text may mean', () => {
  it('is a place that the array has, with what it is called', () => {
    expect(names('3,7')).toEqual(['PE 3,7']);
    expect(findResults(page, '3,7', undefined)[0]?.detail).toBe('root');
    expect(names('9,9')).toEqual([]);
    expect(names('cluster 1,1')).toEqual(['Cluster 1,1']);
    expect(names('cluster 2,0')).toEqual([]);
    run('3,7');
    expect(page.explorer.selection.piece.value).toEqual({ pe: [3, 7] });
  });

  it('is a link that the mesh has', () => {
    expect(names('link 0,0 right')).toEqual(['Link 0,0 → 1,0']);
    expect(names('link 1,0 right')).toEqual([]); // leads out of two by two clusters
    expect(names('link 2,0 left')).toEqual([]);
    expect(names('link 0,0 down')).toEqual([]);
    run('link 1,1 down');
    expect(page.explorer.selection.piece.value).toEqual({ link: [1, 1, 'down'] });
    expect(page.explorer.view.linkLoad.value).toBe(true);
    page.explorer.trace.head.value = { ...HEAD, wrapColumns: true, shape: { clusters: [1, 1], domains: [1, 1], pes: [4, 4] } };
    expect(names('link 3,0 right')).toEqual(['Link 3,0 → 0,0']);
    expect(names('link 0,3 up')).toEqual([]);
  });

  it('is a moment', () => {
    expect(names('1842')).toEqual(['Cycle 1,842', 'Step 1,842']);
    run('1842');
    run('1842', 1);
    expect(went).toEqual([
      ['cycle', 1842n],
      ['step', 1842],
    ]);
    expect(findResults(page, 'cycle 20000', undefined)[0]?.detail).toBe('the last is 9,999');
  });

  it('is a record that the trace has', () => {
    expect(names('record 999')).toEqual(['Record 999']);
    expect(names('record 1000')).toEqual([]);
    run('record 999');
    expect(page.explorer.selection.selected.value).toEqual({ record: 999 });
  });

  it('is a packet, if the notes tell packets', () => {
    run('packet 7');
    expect(page.explorer.panels.filterWish.value).toEqual({ text: 'packet:7' });
    page.explorer.trace.head.value = { ...HEAD, attributes: [] };
    expect(names('packet 7')).toEqual([]);
  });

  it('is a mark, by letters of its name', () => {
    page.explorer.marks.add({ name: 'sweep 3', cycle: 1932n });
    expect(names('sweep')).toContain('sweep 3');
    expect(names('')).toEqual(['sweep 3']);
    run('sweep');
    expect(went).toEqual([['cycle', 1932n]]);
  });

  it('is events that words ask for, of which the list takes them', () => {
    expect(names('fire thread:1')).toEqual(['Next fire thread:1', 'List fire thread:1']);
    run('fire thread:1', 1);
    expect(page.explorer.panels.dock.value).toBe('events');
  });

  it('is a counter, which becomes a lane and goes again', () => {
    run('queue');
    expect(page.explorer.time.lanes.value).toEqual([{ counter: 'queue length' }]);
    run('queue');
    expect(page.explorer.time.lanes.value).toEqual([]);
  });

  it('is every counter where the word stands alone, as the gutter asks for them', () => {
    expect(names('counter ')).toEqual(['queue length']);
    expect(names('counter len')).toEqual(['queue length']);
    expect(names('counter fan')).toEqual([]);
  });

  it('is a counter of what is selected alone, which is another lane', () => {
    page.explorer.selection.selectPiece({ switch: [1, 0] });
    expect(findResults(page, 'queue', undefined).map((result) => result.detail)).toEqual([
      'pin as a lane',
      'pin as a lane, of switch 1,0 alone',
    ]);
    run('queue', 1);
    page.explorer.selection.selectPiece({ pe: [3, 7] });
    run('queue', 1);
    expect(page.explorer.time.lanes.value).toEqual([
      { counter: 'queue length', place: [8, 4] },
      { counter: 'queue length', place: [3, 7] },
    ]);
    page.explorer.selection.selectPiece({ cluster: [0, 0] });
    expect(names('queue').length).toBe(1);
  });

  it('is what the companion names', () => {
    const found = {
      places: [{ at: [3, 7], name: 'root' }],
      threads: [{ thread: 4, name: 'rooting', records: 12 }],
      kinds: [],
    } as const;
    const results = findResults(page, 'root', found);
    expect(results.map((result) => [result.group, result.detail])).toEqual([
      ['Places', 'PE 3,7'],
      ['Events', '12 records'],
    ]);
  });
});

describe('the list of commands', () => {
  it('has what matches and can do something, with keys', () => {
    const found = commandResults(page, 'all key');
    expect(found.map((result) => [result.key, result.keys])).toEqual([['find.keys', ['?']]]);
    expect(commandResults(page, 'remove the mark')).toEqual([]);
    page.explorer.marks.add({ name: 'here', cycle: 0n });
    expect(commandResults(page, 'remove the mark').length).toBe(1);
  });
});

import { describe, expect, it } from 'vitest';

import {
  continuations,
  readFilterWords,
  withWord,
  withoutWord,
  type FilterTerms,
} from '../../src/base/filterWords';

const terms = (text: string): FilterTerms => readFilterWords(text).terms;
const trouble = (text: string): (string | undefined)[] =>
  readFilterWords(text).words.map((word) => word.trouble);
const KIND = { name: 'kind', names: new Map([['read', 1n]]) };
const PACKET = { name: 'packet' };

describe('filter words', () => {
  it('ask for what they say', () => {
    expect(terms('thread:3 fire cluster:2,0 cycle>100')).toEqual({
      threads: [[3, 3]],
      types: ['fire'],
      cluster: [2, 0],
      cycles: [101n, (1n << 64n) - 1n],
    });
    expect(terms('send to:3,3 from:3,2')).toEqual({ types: ['send'], to: [3, 3], from: [3, 2] });
  });

  it('ask for everything where there are none', () => {
    expect(readFilterWords('  ')).toEqual({ words: [], terms: {}, usable: true });
  });

  it('take any of several types', () => {
    expect(terms('fire send fire').types).toEqual(['fire', 'send']);
  });

  it('narrow a range with each sign', () => {
    expect(terms('cycle>=100 cycle<200').cycles).toEqual([100n, 199n]);
    expect(terms('cycle:100..200').cycles).toEqual([100n, 200n]);
    expect(terms('cycle=7').cycles).toEqual([7n, 7n]);
    expect(terms('step<=9').steps).toEqual([0, 9]);
    expect(terms('record>9 record<12').records).toEqual([10, 11]);
  });

  it('know cycles of 64 bits, and thousands with commas', () => {
    expect(terms('cycle:18446744073709551615').cycles?.[0]).toBe((1n << 64n) - 1n);
    expect(trouble('cycle:18446744073709551616')[0]).toContain('at most');
    expect(terms('cycle:1,842').cycles).toEqual([1842n, 1842n]);
    expect(trouble('cycle:1,84')[0]).toBe('A cycle is a whole number.');
  });

  it('know places', () => {
    expect(terms('pe:10,20').place).toEqual([10, 20]);
    expect(terms('rect:7,0..3,9').rect).toEqual([3, 0, 7, 9]);
    expect(terms('domain:1,1').domain).toEqual([1, 1]);
    expect(trouble('pe:10')[0]).toBe('Say column and row: pe:3,7.');
    expect(trouble('rect:1,1')[0]).toContain('two corners');
  });

  it('take one place only, and the ends of messages without another', () => {
    expect(trouble('pe:1,1 cluster:0,0')).toEqual([undefined, expect.stringContaining('One place')]);
    expect(trouble('pe:1,1 to:0,0')[1]).toContain('without another place');
    expect(trouble('to:1,1 pe:0,0')[1]).toContain('without another place');
    expect(trouble('to:1,1 to:0,0')[1]).toContain('One place');
  });

  it('know the notes of the trace and the names of their values', () => {
    const read = (text: string) => readFilterWords(text, [KIND, PACKET]);
    expect(read('kind:read packet:16538').terms.notes).toEqual([
      { attribute: 'kind', value: 1n },
      { attribute: 'packet', value: 16538n },
    ]);
    expect(read('kind:write').usable).toBe(false);
    expect(readFilterWords('packet:1').usable).toBe(false);
  });

  it('know lists of threads, and all others', () => {
    expect(terms('thread:0,2-5').threads).toEqual([[0, 0], [2, 5]]);
    expect(terms('thread:1,842').threads).toEqual([[1, 1], [842, 842]]);
    expect(terms('thread!=2-5,0').threads).toEqual([[1, 1], [6, 0xffffffff]]);
    expect(terms('thread!=4294967295').threads).toEqual([[0, 0xfffffffe]]);
    expect(trouble('thread:5-2')[0]).toContain('in order');
    expect(trouble('thread:1-')[0]).toContain('whole number');
    expect(trouble('thread:4294967296')[0]).toContain('at most');
    expect(trouble('thread!=0-4294967295')[0]).toBe('There are no other threads.');
    const many = Array.from({ length: 257 }, (_, i) => 2 * i).join(',');
    expect(trouble(`thread:${many}`)[0]).toContain('at most 256');
  });

  it('are turned round by one that stands before them', () => {
    expect(terms('not thread:3 fire')).toEqual({ not: true, threads: [[3, 3]], types: ['fire'] });
    expect(trouble('fire not')[1]).toContain('before all other words');
    expect(trouble('not')[0]).toContain('Say what follows');
    expect(readFilterWords('not packet:5', [PACKET]).words[1]?.trouble).toContain('packet!=');
    expect(trouble('not to:1,1')[1]).toContain('does not stand beside');
    expect(trouble('nto thread:3')[0]).toContain('Do you mean `not`?');
  });

  it('compare notes in every way that the engine does', () => {
    const attributes = [KIND, PACKET, { name: 'energy', type: 'real' }];
    const notes = (text: string) => readFilterWords(text, attributes).terms.notes;
    expect(notes('kind!=read packet>=64')).toEqual([{ where: 'kind!=read' }, { where: 'packet>=64' }]);
    expect(notes('packet:1..9 packet~17')).toEqual([{ where: 'packet=1..9' }, { where: 'packet~17' }]);
    expect(notes('energy:1.5 energy<-2e3')).toEqual([{ where: 'energy=1.5' }, { where: 'energy<-2e3' }]);
    const words = readFilterWords('packet<x energy:x kind>=1..2', attributes).words;
    expect(words.map((word) => word.trouble)).toEqual(Array(3).fill(expect.stringContaining('whole number')));
  });

  it('that know no comparison say so', () => {
    expect(trouble('cycle!=5')[0]).toBe('Say cycle:…');
    expect(trouble('pe!=3,7')[0]).toBe('Say pe:…');
    expect(trouble('step~5')[0]).toBe('Say step:…');
  });

  it('that are unknown say so and name the nearest', () => {
    const [word] = readFilterWords('tread:3').words;
    expect(word).toMatchObject({
      trouble: 'I do not know `tread`. Do you mean `thread`?',
      suggestion: 'thread:3',
    });
    expect(trouble('elephant')[0]).toBe('I do not know `elephant`.');
  });

  it('that are unusable leave the others as they are', () => {
    const read = readFilterWords('fire tread:3 cycle>5');
    expect(read.usable).toBe(false);
    expect(read.terms).toEqual({ types: ['fire'], cycles: [6n, (1n << 64n) - 1n] });
  });

  it('that lack a value ask for it', () => {
    expect(trouble('thread')[0]).toBe('Say what follows: thread:…');
    expect(trouble('thread>3')[0]).toBe('Say thread:…');
    expect(trouble('thread:x')[0]).toContain('A thread is a whole number');
    expect(trouble('thread:1 thread:2')[1]).toContain('thread:0,2-5');
  });

  it('that cannot both hold say so', () => {
    expect(trouble('cycle>10 cycle<5')[1]).toBe('No cycle is in both ranges.');
    expect(trouble('cycle:9..5')[0]).toBe('The first cycle comes before the last.');
    expect(trouble('cycle<0')[0]).toBe('No cycle comes before 0.');
    expect(trouble('step>9007199254740991')[0]).toBe('No step comes after that.');
  });

  it('know where they stand', () => {
    expect(readFilterWords(' fire  cycle>5').words.map((w) => [w.start, w.end])).toEqual([
      [1, 5],
      [7, 14],
    ]);
  });

  it('can be taken away and replaced', () => {
    const read = readFilterWords('fire tread:3 cycle>5');
    expect(withoutWord(read, 1)).toBe('fire cycle>5');
    expect(withWord(read, 1, read.words[1]!.suggestion!)).toBe('fire thread:3 cycle>5');
  });

  it('are continued while they are typed', () => {
    expect(continuations('fire c', 6)).toEqual(['cluster:', 'cycle:']);
    expect(continuations('fire c', 4)).toEqual([]);
    expect(continuations('se', 2)).toEqual(['send']);
    expect(continuations('pa', 2, [PACKET])).toEqual(['packet:']);
    expect(continuations('cycle:', 6)).toEqual([]);
    expect(continuations('no', 2)).toEqual(['not']);
    expect(continuations('fire no', 7)).toEqual([]);
  });
});

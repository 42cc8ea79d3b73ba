import { expect, test } from 'vitest';

import { cutTake, eventsTake, filmTake, plotTake, selectionTake, stateTake, takeText, viewTake } from '../../src/model/takeAway';
import { filterOf } from '../../src/model/eventFilter';
import { readFilterWords } from '../../src/base/filterWords';
import { openSmall, settled } from '../fixtures/smallTrace';

const text = (query: Parameters<typeof takeText>[0] | undefined) => (query === undefined ? undefined : takeText(query));

test('The view is told as what draws it: a moment, heat, links, or what stands where', async () => {
  const { explorer } = await openSmall();
  explorer.pilot.goTo({ step: 4, cycle: 40n });
  await settled(explorer);
  expect(text(viewTake(explorer))).toBe('what=render&reading=natural&theme=light&cycle=40');
  explorer.time.range.value = { first: 10n, last: 99n };
  explorer.view.colourBy.value = 'heat';
  explorer.view.heatOf.value = 'idle';
  expect(text(viewTake(explorer))).toBe('what=plot&kind=heat&format=png&measure=idle&first=10&last=99&theme=light');
  explorer.view.linkLoad.value = true;
  expect(text(viewTake(explorer))).toBe('what=plot&kind=links&format=png&first=10&last=99&theme=light');
  explorer.view.linkLoad.value = false;
  explorer.view.colourBy.value = 'kind';
  expect(text(viewTake(explorer))).toBe('what=state&format=text&cycle=40&places=1');
});

test('The viewer\u2019s moments are told by step, with the cycle that is skipped to', async () => {
  const { explorer } = await openSmall();
  explorer.view.reading.value = 'viewer';
  explorer.view.skipTo.value = 7n;
  explorer.pilot.goTo({ step: 5, cycle: 50n });
  await settled(explorer);
  expect(text(stateTake(explorer))).toBe('what=state&format=text&step=5&skipTo=7');
  expect(text(filmTake(explorer, 3n, 9n, 24))).toBe('what=film&reading=viewer&skipTo=7&from=3&to=9&fps=24');
});

test('A long film has every so many pictures, so that it has an end', async () => {
  const { explorer } = await openSmall();
  expect(filmTake(explorer, 0n, 999n, 12)['every']).toBeUndefined();
  expect(filmTake(explorer, 0n, 1000n, 12)['every']).toBe('2');
  expect(filmTake(explorer, 0n, 10_000_000n, 12)['every']).toBe('10001');
});

test('Each word of a filter is a word of the command', async () => {
  const { explorer } = await openSmall();
  const attributes = [{ name: 'packet' }, { name: 'kind', names: new Map([['wait', 3n]]) }];
  const head = explorer.trace.head.value!;
  explorer.trace.head.value = { ...head, attributes: [{ name: 'packet', type: 'number' }, { name: 'kind', type: 'name', names: { 3: 'wait' } }] };
  const asked = (words: string) => text(eventsTake(explorer, filterOf(readFilterWords(words, attributes).terms, 0n), 'csv'));
  expect(asked('')).toBe('what=events&format=csv');
  expect(asked('send fire thread:3 cycle:5..9')).toBe('what=events&format=csv&first=5&last=9&thread=3&types=send%2Cfire');
  expect(asked('record:7..9 step<=4')).toBe('what=events&format=csv&records=7%3A9&steps=0%3A4');
  expect(asked('pe:3,7')).toBe('what=events&format=csv&region=3%2C7');
  expect(asked('rect:0,0..3,7')).toBe('what=events&format=csv&region=0%2C0%3A3%2C7');
  expect(asked('domain:1,2')).toBe('what=events&format=csv&region=domain%3A1%2C2');
  expect(asked('from:3,2 to:3,3')).toBe('what=events&format=csv&from=3%2C2&to=3%2C3');
  expect(asked('thread:0,2-5')).toBe('what=events&format=csv&threads=0%2C2-5');
  expect(asked('not thread:3 fire')).toBe('what=events&format=csv&thread=3&types=fire&not=1');
  expect(asked('kind!=wait packet:1..9')).toBe('what=events&format=csv&where=kind!%3Dwait&where=packet%3D1..9');
  expect(asked('packet:5 kind:wait')).toBe('what=events&format=csv&where=packet%3D5&where=kind%3Dwait');
});

test('The range is taken along as bytes alone, or packed with its companion', async () => {
  const { explorer } = await openSmall();
  explorer.time.range.value = { first: 10n, last: 20n };
  expect(text(cutTake(explorer, 'packed'))).toBe('what=trace&format=packed&first=10&last=20');
  expect(text(cutTake(explorer, 'raw'))).toBe('what=trace&format=raw&first=10&last=20');
});

test('The selected is told by its events, its causes where they are shown, or the loads of links', async () => {
  const { explorer } = await openSmall();
  expect(selectionTake(explorer)).toBeUndefined();
  explorer.selection.selectPiece({ pe: [1, 0] });
  explorer.time.range.value = { first: 10n, last: 20n };
  expect(text(selectionTake(explorer))).toBe('what=events&format=text&region=1%2C0&first=10&last=20');
  explorer.view.causes.value = true;
  expect(text(selectionTake(explorer))).toMatch(/^what=why&format=text&pe=1%2C0&cycle=\d+$/);
  explorer.selection.selected.value = { record: 17 };
  expect(text(selectionTake(explorer))).toBe('what=why&format=text&record=17');
  explorer.view.causes.value = false;
  expect(text(selectionTake(explorer))).toBe('what=events&format=text&records=17%3A17');
  explorer.selection.selectPiece({ link: [0, 0, 'right'] });
  expect(text(selectionTake(explorer))).toBe('what=stats&format=text&first=10&last=20&table=links');
});

test('A shape that the server was told is told to the command, and no other', async () => {
  const { explorer } = await openSmall();
  const head = explorer.trace.head.value!;
  expect(plotTake(explorer, 'threads', 'svg')['pes']).toBeUndefined();
  explorer.trace.head.value = { ...head, shapeFrom: 'option' };
  expect(text(plotTake(explorer, 'threads', 'svg'))).toBe('what=plot&kind=threads&format=svg&theme=light&clusters=1&domains=1&pes=2');
});

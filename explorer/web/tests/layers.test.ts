import { readdirSync, readFileSync } from 'node:fs';
import { dirname, join, normalize, relative } from 'node:path';

import { expect, test } from 'vitest';

// What each folder of the page may import besides its own files.
const MAY_IMPORT: Readonly<Record<string, readonly string[]>> = {
  base: [],
  theme: ['base'],
  widgets: ['base', 'theme'],
  protocol: ['base'],
  engine: ['base', 'protocol'],
  model: ['base', 'protocol', 'engine'],
  commands: ['base', 'protocol', 'engine', 'model'],
  input: ['base', 'protocol', 'engine', 'model'],
  gl: ['base', 'theme'],
  views: ['base', 'protocol', 'engine', 'model', 'commands', 'input', 'gl', 'theme', 'widgets'],
};
const WITHOUT_DOM = ['base', 'protocol', 'engine', 'model'];

const ROOT = join(__dirname, '../src');
const IMPORT = /(?:from|import)\s*\(?\s*'(\.[^']*)'/g;

interface Source {
  readonly name: string;
  readonly text: string;
}

const sources: Source[] = readdirSync(ROOT, { recursive: true, encoding: 'utf8' })
  .filter((name) => /\.tsx?$/.test(name))
  .map((name) => ({ name, text: readFileSync(join(ROOT, name), 'utf8') }));

const roomOf = (name: string): string => name.split('/')[0] ?? '';

function wrongImports(source: Source): string[] {
  const room = roomOf(source.name);
  const allowed = MAY_IMPORT[room];
  return [...source.text.matchAll(IMPORT)]
    .map((match) => normalize(join(dirname(source.name), match[1] ?? '')))
    .filter((target) => target.includes('/') && roomOf(target) !== room)
    .filter((target) => allowed !== undefined && !allowed.includes(roomOf(target)))
    .map((target) => `${source.name} imports ${target}`);
}

test('Imports go down only', () => {
  expect(sources.length).toBeGreaterThan(20);
  expect(sources.flatMap(wrongImports)).toEqual([]);
  const unknown = sources.filter((source) => source.name.includes('/') && !(roomOf(source.name) in MAY_IMPORT));
  expect(unknown).toEqual([]);
});

test('An import that goes up is found', () => {
  const planted = { name: 'gl/planted.ts', text: "import { x } from '../model/settings';" };
  expect(wrongImports(planted)).toEqual(['gl/planted.ts imports model/settings']);
});

test('What has no pictures does not know the document', () => {
  const touching = sources.filter(
    (source) => WITHOUT_DOM.includes(roomOf(source.name)) && /\bdocument\.|\bwindow\./.test(source.text),
  );
  expect(touching.map((source) => source.name)).toEqual([]);
});

test('No file is longer than 300 lines', () => {
  const long = sources.filter((source) => source.text.split('\n').length > 301);
  expect(long.map((source) => relative(ROOT, join(ROOT, source.name)))).toEqual([]);
});

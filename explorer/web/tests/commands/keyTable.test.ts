import { readFileSync } from 'node:fs';
import { join } from 'node:path';

import { expect, test } from 'vitest';

import { KEYS } from '../../src/commands/keys';
import { KEY_GROUPS, lineKeys, MOUSE_LINES } from '../../src/commands/keyTable';
import { Registry } from '../../src/commands/registry';

const lines = KEY_GROUPS.flatMap((group) => group.lines);

test('Every command that has a key stands on the page of keys once', () => {
  const listed = lines.flatMap((line) => line.ids);
  expect([...listed].sort()).toEqual([...new Set(Object.values(KEYS))].sort());
});

test('A line shows the keys of its commands, a modifier that they share once', () => {
  const registry = new Registry();
  const none = { group: 'Time', name: 'x', run: () => undefined } as const;
  registry.add([
    { id: 'time.tenBack', ...none },
    { id: 'time.tenForward', ...none },
    { id: 'find.commands', ...none },
  ]);
  const keysOf = (name: string) => lineKeys(registry, lines.find((line) => line.name === name)!);
  expect(keysOf('Ten steps')).toEqual(['Shift', '←', '→']);
  expect(keysOf('Commands')).toEqual(['Ctrl', 'Shift', 'P']);
  expect(keysOf('Play or pause')).toEqual([]);
});

test('The guide has the same keys as the page', () => {
  const docs = process.env['MARROWFIN_DOCS'] ?? join(__dirname, '../../../../docs');
  const guide = readFileSync(join(docs, 'explorer.md'), 'utf8');
  const registry = new Registry();
  const ids = [...new Set(Object.values(KEYS))];
  registry.add(ids.map((id) => ({ id, group: 'Time', name: id, run: () => undefined })));
  const row = (name: string, keys: readonly string[]) => `| ${name} | ${keys.map((key) => `\`${key}\``).join(' ')} |`;
  const rows = [
    ...lines.map((line) => row(line.name, lineKeys(registry, line))),
    ...MOUSE_LINES.map(({ name, parts }) => row(name, parts)),
  ];
  expect(rows.filter((each) => !guide.includes(`${each}\n`))).toEqual([]);
});

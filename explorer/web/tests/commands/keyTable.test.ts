import { expect, test } from 'vitest';

import { KEYS } from '../../src/commands/keys';
import { KEY_GROUPS, lineKeys } from '../../src/commands/keyTable';
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

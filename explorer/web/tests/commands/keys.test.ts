import { expect, test } from 'vitest';

import { keyName } from '../../src/commands/hotkeys';
import { keyParts, Registry } from '../../src/commands/registry';

const press = (key: string, code: string, rest = {}) =>
  keyName({ key, code, shiftKey: false, ctrlKey: false, metaKey: false, altKey: false, ...rest });

test('Letters are named by their place, other keys by what they write', () => {
  expect(press('w', 'KeyW')).toBe('W');
  expect(press('ц', 'KeyW')).toBe('W');
  expect(press('?', 'Slash', { shiftKey: true })).toBe('?');
  expect(press(' ', 'Space')).toBe('Space');
  expect(press('ArrowLeft', 'ArrowLeft', { shiftKey: true })).toBe('Shift+ArrowLeft');
  expect(press('m', 'KeyM', { shiftKey: true })).toBe('Shift+M');
});

test('Ctrl and Cmd are one, and Alt is left to the system', () => {
  expect(press('p', 'KeyP', { ctrlKey: true, shiftKey: true })).toBe('Ctrl+Shift+P');
  expect(press('p', 'KeyP', { metaKey: true, shiftKey: true })).toBe('Ctrl+Shift+P');
  expect(press('p', 'KeyP', { altKey: true })).toBeUndefined();
});

test('A key is drawn in parts', () => {
  expect(keyParts('Shift+ArrowLeft')).toEqual(['Shift', '←']);
  expect(keyParts('+')).toEqual(['+']);
});

test('A command that cannot do anything is not run', () => {
  const registry = new Registry();
  let runs = 0;
  let able = false;
  registry.add([{ id: 'time.play', group: 'Time', name: 'Play', can: () => able, run: () => (runs += 1) }]);
  expect(registry.run('time.play')).toBe(false);
  able = true;
  expect(registry.run('time.play')).toBe(true);
  expect(runs).toBe(1);
  expect(registry.keysOf('time.play')).toEqual([['Space']]);
  expect(registry.commandOf('Space')).toBe('time.play');
});

test('Two commands of one name are refused', () => {
  const registry = new Registry();
  const play = { id: 'time.play', group: 'Time', name: 'Play', run: () => undefined } as const;
  registry.add([play]);
  expect(() => registry.add([play])).toThrow('time.play');
});

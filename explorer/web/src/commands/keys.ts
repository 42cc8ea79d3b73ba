import type { CommandId } from './ids';

/**
 * The keys of all commands. Shift, Ctrl (Cmd on a Mac) and Alt stand before the key, in this order:
 * "Ctrl+Shift+P". Letters are where they are on an English keyboard, whatever is printed on them;
 * other keys are what they write. The names stand in one object, so that a key that is given twice
 * does not build.
 */
export const KEYS = {
  Space: 'time.play',
  ArrowLeft: 'time.stepBack',
  ArrowRight: 'time.stepForward',
  'Shift+ArrowLeft': 'time.tenBack',
  'Shift+ArrowRight': 'time.tenForward',
  Home: 'time.first',
  End: 'time.last',
  G: 'time.goTo',
  W: 'timeline.zoomIn',
  S: 'timeline.zoomOut',
  A: 'timeline.panLeft',
  D: 'timeline.panRight',
  I: 'timeline.rangeFrom',
  O: 'timeline.rangeTo',
  '/': 'find.search',
  'Ctrl+F': 'find.search',
  'Ctrl+Shift+P': 'find.commands',
  F1: 'find.commands',
  E: 'find.events',
  '?': 'find.keys',
  V: 'floorplan.reading',
  1: 'colour.thread',
  2: 'colour.kind',
  3: 'colour.heat',
  4: 'colour.nothing',
  T: 'layer.messages',
  L: 'layer.linkLoad',
  C: 'layer.causes',
  H: 'floorplan.flat',
  '+': 'floorplan.zoomIn',
  '-': 'floorplan.zoomOut',
  0: 'floorplan.fit',
  ',': 'select.previousEvent',
  '.': 'select.nextEvent',
  '[': 'select.sender',
  ']': 'select.receiver',
  F: 'select.focus',
  R: 'select.range',
  Q: 'select.inspector',
  Escape: 'select.nothing',
  M: 'mark.add',
  'Shift+M': 'mark.keep',
  Delete: 'mark.remove',
} as const satisfies Readonly<Record<string, CommandId>>;

export type Key = keyof typeof KEYS;

import type { CommandId } from './ids';
import type { Registry } from './registry';

/** What the page of keys says in one line: commands that belong together, under one name. */
export interface KeyLine {
  readonly name: string;
  readonly ids: readonly CommandId[];
  /** Keys of the search box, which no command stands for. */
  readonly typed?: readonly string[];
}

export interface KeyGroup {
  readonly name: string;
  readonly lines: readonly KeyLine[];
}

/** Every command that has a key stands here once; a test holds that. */
export const KEY_GROUPS: readonly KeyGroup[] = [
  {
    name: 'Time',
    lines: [
      { name: 'Play or pause', ids: ['time.play'] },
      { name: 'Step back, forward', ids: ['time.stepBack', 'time.stepForward'] },
      { name: 'Ten steps', ids: ['time.tenBack', 'time.tenForward'] },
      { name: 'First, last step', ids: ['time.first', 'time.last'] },
      { name: 'Go to step or cycle', ids: ['time.goTo'] },
      { name: 'Zoom timeline', ids: ['timeline.zoomIn', 'timeline.zoomOut'] },
      { name: 'Pan timeline', ids: ['timeline.panLeft', 'timeline.panRight'] },
      { name: 'Range from here, to here', ids: ['timeline.rangeFrom', 'timeline.rangeTo'] },
    ],
  },
  {
    name: 'Find',
    lines: [
      { name: 'Search', ids: ['find.search'] },
      { name: 'Commands', ids: ['find.commands'] },
      { name: 'Next, previous hit', ids: [], typed: ['Enter', 'Shift Enter'] },
      { name: 'Events', ids: ['find.events'] },
      { name: 'All keys', ids: ['find.keys'] },
    ],
  },
  {
    name: 'Floorplan',
    lines: [
      { name: 'Natural or as the viewer shows it', ids: ['floorplan.reading'] },
      {
        name: 'Colour by thread, kind, heat, nothing',
        ids: ['colour.thread', 'colour.kind', 'colour.heat', 'colour.nothing'],
      },
      { name: 'Messages', ids: ['layer.messages'] },
      { name: 'Link load', ids: ['layer.linkLoad'] },
      { name: 'Zoom, fit all', ids: ['floorplan.zoomIn', 'floorplan.zoomOut', 'floorplan.fit'] },
      { name: 'Flat, without gaps', ids: ['floorplan.flat'] },
    ],
  },
  {
    name: 'On the floorplan, reached by Tab',
    lines: [
      { name: 'Select the one beside', ids: [], typed: ['←', '→', '↑', '↓'] },
      { name: 'Grow a rectangle', ids: [], typed: ['Shift', '←', '→', '↑', '↓'] },
      { name: 'Pan', ids: [], typed: ['Ctrl', '←', '→', '↑', '↓'] },
    ],
  },
  {
    name: 'Selection',
    lines: [
      { name: 'Previous, next event', ids: ['select.previousEvent', 'select.nextEvent'] },
      { name: 'To sender, to receiver', ids: ['select.sender', 'select.receiver'] },
      { name: 'Focus', ids: ['select.focus'] },
      { name: 'Causes', ids: ['layer.causes'] },
      { name: 'Make it the range', ids: ['select.range'] },
      { name: 'Inspector', ids: ['select.inspector'] },
      { name: 'Deselect, close', ids: ['select.nothing'] },
    ],
  },
  {
    name: 'Marks',
    lines: [
      { name: 'Mark selection', ids: ['mark.add'] },
      { name: 'Mark and keep', ids: ['mark.keep'] },
      { name: 'Remove mark', ids: ['mark.remove'] },
    ],
  },
];

/** What the mouse does, which no command stands for. */
export const MOUSE_LINES: readonly { readonly name: string; readonly parts: readonly string[] }[] = [
  { name: 'Zoom floorplan', parts: ['wheel'] },
  { name: 'Pan floorplan', parts: ['drag'] },
  { name: 'Select a rectangle', parts: ['Shift', 'drag'] },
  { name: 'Select a time range', parts: ['drag'] },
  { name: 'Pan timeline', parts: ['Shift', 'drag'] },
  { name: 'Zoom timeline', parts: ['Ctrl', 'wheel'] },
  { name: 'Set a mark on the ruler', parts: ['Shift', 'click'] },
];

/** The modifiers that all keys share, where they share any: Shift ←, Shift →. */
function sharedModifier(keys: readonly (readonly string[])[]): readonly string[] | undefined {
  const [first] = keys;
  const modifiers = first?.slice(0, -1) ?? [];
  const shared = keys.length > 1 && modifiers.length > 0;
  return shared && keys.every((key) => key.slice(0, -1).join() === modifiers.join()) ? modifiers : undefined;
}

/** The keys of a line, as parts to draw; commands that are not there have none. */
export function lineKeys(registry: Registry, line: KeyLine): readonly string[] {
  if (line.typed !== undefined) {
    return line.typed;
  }
  const keys = line.ids.flatMap((id) => {
    const first = registry.find(id) === undefined ? undefined : registry.keysOf(id)[0];
    return first === undefined ? [] : [first];
  });
  const modifiers = sharedModifier(keys);
  return modifiers === undefined
    ? keys.flat()
    : [...modifiers, ...keys.map((key) => key[key.length - 1] ?? '')];
}


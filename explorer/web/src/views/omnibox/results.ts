import { fuzzyMatch, matchedParts } from '../../base/fuzzy';
import { goalsOf, type Goal } from '../../base/goals';
import { readFilterWords } from '../../base/filterWords';
import type { PlacePair } from '../../base/place';
import { grainOf, isFlat, isInside, switchPlace, unitsOf, type Shape } from '../../base/shape';
import { counted, thousands } from '../../base/words';
import type { Group } from '../../commands/registry';
import { filterOf } from '../../model/eventFilter';
import { linkEnd, pieceText, type Mesh } from '../../model/selectionStore';
import type { Lane } from '../../model/timeStore';
import type { Answers } from '../../protocol/answers';
import type { Piece } from '../../protocol/questions';
import type { IconName } from '../../widgets/icons';
import { ICONS } from '../../widgets/icons';
import type { Page } from '../context';
import { listOf } from '../events/listOf';

/** Something that can be chosen in the box. */
export interface Result {
  readonly key: string;
  readonly group: string;
  readonly icon: IconName;
  readonly parts: readonly { readonly text: string; readonly matched: boolean }[];
  readonly detail?: string;
  readonly keys?: readonly string[];
  /** `back`: the previous one rather than the next. */
  readonly run: (back: boolean) => unknown;
}

const plain = (text: string) => [{ text, matched: false }];
const MOST = 60;

const isIcon = (name: string | undefined): name is IconName => name !== undefined && name in ICONS;

/** Commands whose names match, the best first, each group together. */
export function commandResults(page: Page, wanted: string): readonly Result[] {
  const found = page.commands
    .all()
    .filter((command) => page.commands.canRun(command.id))
    .map((command) => ({ command, match: fuzzyMatch(command.name, wanted) }))
    .filter(({ match }) => match !== undefined)
    .sort((a, b) => (b.match?.score ?? 0) - (a.match?.score ?? 0));
  const groups = [...new Set(found.map(({ command }) => command.group))];
  return groups.flatMap((group: Group) =>
    found
      .filter(({ command }) => command.group === group)
      .map(({ command, match }) => ({
        key: command.id,
        group,
        icon: isIcon(command.icon) ? command.icon : 'terminal',
        parts: matchedParts(command.name, match?.spans ?? []),
        keys: page.commands.keysOf(command.id)[0] ?? [],
        run: () => page.commands.run(command.id),
      })),
  );
}

function hasPlace(shape: Shape, kind: 'pe' | 'switch' | 'domain' | 'cluster', [column, row]: readonly [number, number]) {
  if (kind === 'pe') {
    return isInside(shape, { column, row });
  }
  const [columns, rows] = unitsOf(shape, grainOf(shape, kind === 'domain' ? 'domain' : 'cluster'));
  return column < columns && row < rows;
}

/** Selects a piece and shows it. */
function toPiece(page: Page, piece: Piece): void {
  page.explorer.selection.selectPiece(piece);
  page.commands.run('select.focus');
}

function placeResult(page: Page, goal: Extract<Goal, { place: unknown }>): Result | undefined {
  const shape = page.explorer.trace.shape.value;
  if (shape === undefined || !hasPlace(shape, goal.kind, goal.place)) {
    return undefined;
  }
  const piece = { [goal.kind]: goal.place } as unknown as Piece;
  const text = pieceText(piece);
  const name = goal.kind === 'pe' ? page.explorer.trace.nameOf({ column: goal.place[0], row: goal.place[1] }) : undefined;
  return {
    key: text,
    group: 'Go',
    icon: goal.kind === 'switch' ? 'switch' : 'focus',
    parts: plain(text.charAt(0).toUpperCase() + text.slice(1)),
    ...(name === undefined ? {} : { detail: name }),
    run: () => toPiece(page, piece),
  };
}

/** The nodes that links lead from and to: PEs of a mesh, or the switches of clusters. */
function meshOf({ explorer }: Page): Mesh {
  const shape = explorer.trace.shape.value;
  const [columns, rows] = shape === undefined ? [0, 0] : isFlat(shape) ? shape.pes : shape.clusters;
  return explorer.layers.links.answer.value?.head.mesh ?? { columns, rows };
}

function linkResult(page: Page, goal: Extract<Goal, { link: unknown }>): Result | undefined {
  const { trace, view } = page.explorer;
  const mesh = meshOf(page);
  const head = trace.head.value;
  const [column, row, heading] = goal.link;
  if (head === undefined || column >= mesh.columns || row >= mesh.rows) {
    return undefined;
  }
  const straight = linkEnd({ column, row }, heading);
  const isWithin = (at: number, size: number, wraps: boolean) => (at >= 0 && at < size) || (wraps && size > 2);
  if (!isWithin(straight.column, mesh.columns, head.wrapColumns) || !isWithin(straight.row, mesh.rows, head.wrapRows)) {
    return undefined;
  }
  const piece: Piece = { link: goal.link };
  const text = pieceText(piece, mesh);
  return {
    key: text,
    group: 'Go',
    icon: 'load',
    parts: plain(text.charAt(0).toUpperCase() + text.slice(1)),
    run: () => {
      view.linkLoad.value = true;
      toPiece(page, piece);
    },
  };
}

function momentResult(page: Page, goal: Exclude<Goal, { place: unknown } | { link: unknown }>): Result | undefined {
  const { travel, explorer } = page;
  const head = explorer.trace.head.value;
  const result = (text: string, detail: string, run: () => unknown): Result => ({
    key: text,
    group: 'Go',
    icon: 'forward',
    parts: plain(text),
    detail,
    run,
  });
  switch (goal.kind) {
    case 'cycle': {
      const last = explorer.trace.lastCycle.value;
      return result(`Cycle ${thousands(goal.cycle)}`, goal.cycle > last ? `the last is ${thousands(last)}` : '', () =>
        travel.goToCycle(goal.cycle),
      );
    }
    case 'step':
      return result(`Step ${thousands(goal.number)}`, '', () => travel.goToStep(goal.number));
    case 'record':
      return head === undefined || goal.number >= head.records
        ? undefined
        : result(`Record ${thousands(goal.number)}`, '', () => {
            explorer.selection.selected.value = { record: goal.number };
            return travel.goToRecord(goal.number);
          });
    case 'packet':
      return head?.attributes.some(({ name }) => name === 'packet') === true
        ? result(`Events of packet ${thousands(goal.packet)}`, '', () => showEvents(page, `packet:${goal.packet}`))
        : undefined;
  }
}

function showEvents(page: Page, text: string): void {
  page.explorer.panels.dock.value = 'events';
  page.explorer.panels.filterWish.value = { text };
}

function markResults(page: Page, text: string): readonly Result[] {
  return page.explorer.marks.marks.value.flatMap((mark) => {
    const match = fuzzyMatch(mark.name, text);
    return match === undefined
      ? []
      : [
          {
            key: `mark ${mark.name}`,
            group: 'Marks',
            icon: 'mark' as const,
            parts: matchedParts(mark.name, match.spans),
            detail: `cycle ${thousands(mark.cycle)}`,
            run: () => {
              if (mark.piece !== undefined) {
                page.explorer.selection.selectPiece(mark.piece);
              }
              return page.travel.goToCycle(mark.cycle);
            },
          },
        ];
  });
}

/** Events that words ask for: a list of them, and the next one behind the playhead. */
function eventResults(page: Page, text: string): readonly Result[] {
  const { terms, usable, words } = readFilterWords(text, listOf(page).attributes.value);
  if (!usable || words.length === 0) {
    return [];
  }
  const filter = filterOf(terms, page.explorer.view.skipTo.value);
  return [
    {
      key: 'next event',
      group: 'Events',
      icon: 'forward',
      parts: plain(`Next ${text.trim()}`),
      detail: 'Shift + Enter: previous',
      run: (back) => page.walk.goFiltered(filter, back),
    },
    {
      key: 'list events',
      group: 'Events',
      icon: 'index',
      parts: plain(`List ${text.trim()}`),
      run: () => showEvents(page, text.trim()),
    },
  ];
}

type Found = Answers['search']['head'];

/** Places that the companion names, as the engine finds them. */
function namedResults(page: Page, text: string, found: Found | undefined): readonly Result[] {
  return (found?.places ?? []).map(({ at, name }) => ({
    key: `place ${at.join()}`,
    group: 'Places',
    icon: 'focus' as const,
    parts: matchedParts(name, fuzzyMatch(name, text)?.spans ?? []),
    detail: `PE ${at[0]},${at[1]}`,
    run: () => toPiece(page, { pe: at }),
  }));
}

/** Threads and kinds that the companion names: their events. */
function namedEvents(page: Page, text: string, found: Found | undefined): readonly Result[] {
  const result = (name: string, words: string, detail: string): Result => ({
    key: words,
    group: 'Events',
    icon: 'index',
    parts: matchedParts(name, fuzzyMatch(name, text)?.spans ?? []),
    detail,
    run: () => showEvents(page, words),
  });
  return [
    ...(found?.threads ?? []).map(({ thread, name, records }) =>
      result(name === '' ? `thread ${thread}` : name, `thread:${thread}`, counted(records, 'record')),
    ),
    ...(found?.kinds ?? [])
      .filter(({ name }) => !/\s/.test(name))
      .map(({ name }) => result(name, `kind:${name}`, 'kind')),
  ];
}

/** Where counters of what is selected stand: of a PE its own place, of a switch that at which records have it. */
function placeOfSelected({ explorer }: Page): { readonly place: PlacePair; readonly name: string } | undefined {
  const piece = explorer.selection.piece.value;
  const shape = explorer.trace.shape.value;
  if (piece === undefined || shape === undefined || !('pe' in piece || 'switch' in piece)) {
    return undefined;
  }
  const place = 'pe' in piece ? piece.pe : switchPlace(shape, piece.switch);
  return { place, name: pieceText(piece) };
}

/** Counters of the companion: each can be a lane of the timeline. */
function counterResults(page: Page, text: string): readonly Result[] {
  const { time, trace } = page.explorer;
  const wanted = text.replace(/^\s*counters?(?:\s+|$)/i, ''); // the word alone stands for all of them
  return (text.trim() === '' ? [] : (trace.head.value?.counters ?? [])).flatMap(({ name }) => {
    const match = fuzzyMatch(name, wanted);
    const result = (lane: Lane, where: string): Result => ({
      key: `counter ${name}${where}`,
      group: 'Counters',
      icon: 'pin',
      parts: matchedParts(name, match?.spans ?? []),
      detail: `${time.isPinned(lane) ? 'unpin the lane' : 'pin as a lane'}${where}`,
      run: () => (time.isPinned(lane) ? time.unpin(lane) : time.pin(lane)),
    });
    const at = placeOfSelected(page);
    if (match === undefined) {
      return [];
    }
    const sum = result({ counter: name }, '');
    return at === undefined ? [sum] : [sum, result({ counter: name, place: at.place }, `, of ${at.name} alone`)];
  });
}

/** Everything that a text may mean; without one, marks. */
export function findResults(page: Page, text: string, found: Found | undefined): readonly Result[] {
  const goals = goalsOf(text).map((goal) =>
    'place' in goal ? placeResult(page, goal) : 'link' in goal ? linkResult(page, goal) : momentResult(page, goal),
  );
  const results = [
    ...goals.filter((result) => result !== undefined),
    ...namedResults(page, text, found),
    ...markResults(page, text),
    ...counterResults(page, text),
    ...namedEvents(page, text, found),
    ...eventResults(page, text),
  ];
  return results.slice(0, MOST);
}

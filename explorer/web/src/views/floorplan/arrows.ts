import type { Place } from '../../base/place';
import { columnsOf, rowsOf, unitOf, unitsOf, type Grain, type Shape } from '../../base/shape';
import type { Explorer } from '../../model/explorer';
import type { PlaceRect, Selected } from '../../model/selectionStore';
import type { Piece } from '../../protocol/questions';
import type { FloorplanController } from './controller';
import { firstElement } from './pick';

type Way = readonly [number, number];

const WAYS: Readonly<Record<string, Way>> = {
  ArrowLeft: [-1, 0],
  ArrowRight: [1, 0],
  ArrowUp: [0, 1],
  ArrowDown: [0, -1],
};

const PAN = 64; // CSS pixels

const clamp = (value: number, end: number): number => Math.min(end - 1, Math.max(0, value));

/** Of a block, its first element stands for it. */
function pieceOf({ of, span }: Grain, unit: Place): Piece {
  if (of === 'domain') {
    return { domain: [unit.column, unit.row] };
  }
  return of === 'cluster'
    ? { cluster: [unit.column, unit.row] }
    : { pe: [unit.column * span[0], unit.row * span[1]] };
}

/** The unit beside the one that an element is in; the one at the edge stays. */
function unitBeside(shape: Shape, grain: Grain, element: Place, way: Way): Place {
  const [columns, rows] = unitsOf(shape, grain);
  const { column, row } = unitOf(grain, element);
  return { column: clamp(column + way[0], columns), row: clamp(row + way[1], rows) };
}

const elementOf = ({ span }: Grain, { column, row }: Place): Place => ({ column: column * span[0], row: row * span[1] });

/** All units between those of two elements, both included, as elements. */
function rectBetween(shape: Shape, grain: Grain, a: Place, b: Place): PlaceRect {
  const [from, to] = [unitOf(grain, a), unitOf(grain, b)];
  const first = elementOf(grain, { column: Math.min(from.column, to.column), row: Math.min(from.row, to.row) });
  const end = elementOf(grain, { column: Math.max(from.column, to.column) + 1, row: Math.max(from.row, to.row) + 1 });
  return {
    first,
    last: { column: Math.min(columnsOf(shape), end.column) - 1, row: Math.min(rowsOf(shape), end.row) - 1 },
  };
}

/** A rectangle that grows from one corner; the other one is where the arrows are. */
interface Growing {
  readonly corner: Place;
  readonly at: Place;
  readonly selected: Selected;
}

/**
 * Arrow keys on the floorplan choose the unit beside the selected one, of the size that is drawn;
 * with Shift they grow a rectangle from it, with Ctrl they pan.
 */
export function moveSelection(explorer: Explorer, controller: FloorplanController) {
  const { selection } = explorer;
  let growing: Growing | undefined;

  const corners = (grain: Grain): { readonly corner: Place; readonly at: Place } | undefined => {
    const selected = selection.selected.peek();
    const layout = controller.seen.peek();
    if (selected === undefined || layout === undefined || 'record' in selected) {
      return undefined;
    }
    if ('rect' in selected) {
      return growing?.selected === selected ? growing : { corner: selected.rect.first, at: selected.rect.last };
    }
    const corner = elementOf(grain, unitOf(grain, firstElement(layout, selected.piece)));
    return { corner, at: corner };
  };

  return (event: KeyboardEvent): void => {
    const way = WAYS[event.key];
    const layout = controller.seen.peek();
    if (way === undefined || layout === undefined) {
      return;
    }
    if (event.ctrlKey || event.metaKey) {
      controller.hand.pan(-way[0] * PAN, way[1] * PAN);
      return;
    }
    const { shape, grain } = layout;
    const known = corners(grain);
    if (known === undefined) {
      selection.selectPiece(pieceOf(grain, { column: 0, row: 0 }));
      return;
    }
    const beside = unitBeside(shape, grain, known.at, way);
    if (!event.shiftKey) {
      selection.selectPiece(pieceOf(grain, beside));
      return;
    }
    const at = elementOf(grain, beside);
    const selected = { rect: rectBetween(shape, grain, known.corner, at) };
    selection.selected.value = selected;
    growing = { corner: known.corner, at, selected };
  };
}

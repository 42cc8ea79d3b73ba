import { unitOf, unitsOf, type Grain } from '../../base/shape';
import type { Explorer } from '../../model/explorer';
import type { Piece } from '../../protocol/questions';
import type { FloorplanController } from './controller';
import { firstElement } from './pick';

const WAYS: Readonly<Record<string, readonly [number, number]>> = {
  ArrowLeft: [-1, 0],
  ArrowRight: [1, 0],
  ArrowUp: [0, 1],
  ArrowDown: [0, -1],
};

const clamp = (value: number, end: number): number => Math.min(end - 1, Math.max(0, value));

/** Of a block, its first element stands for it. */
function pieceOf({ of, span }: Grain, column: number, row: number): Piece {
  if (of === 'domain') {
    return { domain: [column, row] };
  }
  return of === 'cluster' ? { cluster: [column, row] } : { pe: [column * span[0], row * span[1]] };
}

/** Arrow keys on the floorplan choose the unit beside the selected one, of the level that is drawn. */
export function moveSelection(explorer: Explorer, controller: FloorplanController) {
  return (event: KeyboardEvent): void => {
    const way = WAYS[event.key];
    const layout = controller.seen.peek();
    if (way === undefined || layout === undefined || event.ctrlKey || event.metaKey || event.altKey) {
      return;
    }
    event.preventDefault();
    event.stopPropagation();
    const { shape, grain } = layout;
    const [columns, rows] = unitsOf(shape, grain);
    const piece = explorer.selection.piece.peek();
    const from = piece === undefined ? undefined : unitOf(grain, firstElement(layout, piece));
    const far = event.shiftKey ? 4 : 1;
    const column = from === undefined ? 0 : clamp(from.column + way[0] * far, columns);
    const row = from === undefined ? 0 : clamp(from.row + way[1] * far, rows);
    explorer.selection.selectPiece(pieceOf(grain, column, row));
  };
}

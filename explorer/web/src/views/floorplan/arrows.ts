import { unitOf, unitsOf, type Level } from '../../base/shape';
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

function pieceOf(level: Level, column: number, row: number): Piece {
  const pair = [column, row] as const;
  return level === 'pe' ? { pe: pair } : level === 'domain' ? { domain: pair } : { cluster: pair };
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
    const { shape, level } = layout;
    const [columns, rows] = unitsOf(shape, level);
    const piece = explorer.selection.piece.peek();
    const from = piece === undefined ? undefined : unitOf(shape, level, firstElement(layout, piece));
    const far = event.shiftKey ? 4 : 1;
    const column = from === undefined ? 0 : clamp(from.column + way[0] * far, columns);
    const row = from === undefined ? 0 : clamp(from.row + way[1] * far, rows);
    explorer.selection.selectPiece(pieceOf(level, column, row));
  };
}

import { computed, signal } from '@preact/signals';

import { placeOf, placeText, type Place } from '../base/place';
import type { Heading, Piece } from '../protocol/questions';

export interface PlaceRect {
  readonly first: Place;
  readonly last: Place;
}

/** What is chosen: a piece of the array, a rectangle of elements, or an event of the trace. */
export type Selected =
  | { readonly piece: Piece }
  | { readonly rect: PlaceRect }
  | { readonly record: number };

const STEP: Readonly<Record<Heading, readonly [number, number]>> = {
  right: [1, 0],
  left: [-1, 0],
  up: [0, 1],
  down: [0, -1],
};

export interface Mesh {
  readonly columns: number;
  readonly rows: number;
}

/** Where a link ends: in a mesh, one that goes around the edge at the other edge. */
export function linkEnd(from: Place, heading: Heading, mesh?: Mesh): Place {
  const [columns, rows] = STEP[heading];
  const end = { column: from.column + columns, row: from.row + rows };
  return mesh === undefined
    ? end
    : { column: (end.column + mesh.columns) % mesh.columns, row: (end.row + mesh.rows) % mesh.rows };
}

/** "PE 10,20", "switch 2,2", "link 3,2 → 3,3". */
export function pieceText(piece: Piece, mesh?: Mesh): string {
  if ('pe' in piece) {
    return `PE ${placeText(placeOf(piece.pe))}`;
  }
  if ('switch' in piece) {
    return `switch ${placeText(placeOf(piece.switch))}`;
  }
  if ('domain' in piece) {
    return `domain ${placeText(placeOf(piece.domain))}`;
  }
  if ('cluster' in piece) {
    return `cluster ${placeText(placeOf(piece.cluster))}`;
  }
  const [column, row, heading] = piece.link;
  const from = { column, row };
  return `link ${placeText(from)} → ${placeText(linkEnd(from, heading, mesh))}`;
}

export class SelectionStore {
  readonly selected = signal<Selected | undefined>(undefined);
  readonly hovered = signal<Piece | undefined>(undefined);

  readonly piece = computed(() => {
    const selected = this.selected.value;
    return selected !== undefined && 'piece' in selected ? selected.piece : undefined;
  });

  readonly pe = computed<Place | undefined>(() => {
    const piece = this.piece.value;
    return piece !== undefined && 'pe' in piece ? placeOf(piece.pe) : undefined;
  });

  selectPiece(piece: Piece): void {
    this.selected.value = { piece };
  }

  clear(): void {
    this.selected.value = undefined;
  }
}

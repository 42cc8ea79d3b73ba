import type { PlacePair } from '../../base/place';
import { clusterSpan, unitSpan, type Shape } from '../../base/shape';
import { capital, thousands } from '../../base/words';
import type { Explorer } from '../../model/explorer';
import { pieceText, type Mesh } from '../../model/selectionStore';
import type { EventHead } from '../../protocol/answers';
import type { Piece } from '../../protocol/questions';
import type { IconName } from '../../widgets/icons';

export const pairText = (pair: PlacePair): string => `${pair[0]},${pair[1]}`;

/** "PE 10,20", "Switch 2,2". */
export const titleOf = (piece: Piece, mesh?: Mesh): string => capital(pieceText(piece, mesh));

function pathOfElement(shape: Shape, [column, row]: PlacePair): string {
  const cluster = clusterSpan(shape);
  const within: PlacePair = [column % cluster[0], row % cluster[1]];
  const parts = [
    ['cluster', [Math.floor(column / cluster[0]), Math.floor(row / cluster[1])]],
    ['domain', [Math.floor(within[0] / shape.pes[0]), Math.floor(within[1] / shape.pes[1])]],
    ['PE', [within[0] % shape.pes[0], within[1] % shape.pes[1]]],
  ] as const;
  return parts.map(([name, place]) => `${name} ${pairText(place)}`).join(' › ');
}

/** Where a piece lies in the array. */
export function pathOf(shape: Shape, piece: Piece): string {
  if ('pe' in piece) {
    return pathOfElement(shape, piece.pe);
  }
  if ('switch' in piece) {
    return `cluster ${pairText(piece.switch)}`;
  }
  if ('link' in piece) {
    return `from ${piece.link[0]},${piece.link[1]} ${piece.link[2]}`;
  }
  const [level, unit] = 'domain' in piece ? (['domain', piece.domain] as const) : (['cluster', piece.cluster] as const);
  const [columns, rows] = unitSpan(shape, level);
  const first = [unit[0] * columns, unit[1] * rows] as const;
  return `columns ${first[0]}–${first[0] + columns - 1}, rows ${first[1]}–${first[1] + rows - 1}`;
}

export interface EventWords {
  readonly icon: IconName;
  readonly does: string;
  /** The other end of a message. */
  readonly other: string | undefined;
}

/** What an event means to the piece that it is listed of. */
export function eventWords(event: EventHead): EventWords {
  const to = event.to === undefined ? undefined : pairText(event.to);
  switch (event.what ?? event.type) {
    case 'gets':
      return { icon: 'cause', does: 'gets from', other: pairText(event.at) };
    case 'sends':
    case 'send':
      return { icon: 'message', does: 'sends to', other: to };
    case 'transmits':
    case 'switch':
      return { icon: 'switch', does: 'transmits', other: undefined };
    default:
      return { icon: 'thread', does: 'fires', other: undefined };
  }
}

/** At most one place behind the point: averages. */
export const rounded = (value: number): string => thousands(Math.round(value * 10) / 10);

/** How many messages of the picture a PE has sent and gets. */
export function onPicture(explorer: Explorer, pe: PlacePair): readonly [number, number] {
  const messages = explorer.playback.picture.value?.messages;
  let [out, into] = [0, 0];
  for (let i = 0; messages !== undefined && i < messages.record.length; ++i) {
    out += messages.from[2 * i] === pe[0] && messages.from[2 * i + 1] === pe[1] ? 1 : 0;
    into += messages.to[2 * i] === pe[0] && messages.to[2 * i + 1] === pe[1] ? 1 : 0;
  }
  return [out, into];
}

/** What the companion calls a place, behind its numbers. */
export const nameBehind = (explorer: Explorer, pe: PlacePair): string => {
  const name = explorer.trace.nameOf({ column: pe[0], row: pe[1] });
  return name === undefined ? '' : ` ${name}`;
};


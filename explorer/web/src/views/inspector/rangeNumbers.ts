import { placeOf } from '../../base/place';
import { sumIn } from '../../model/unitSums';
import type { Piece } from '../../protocol/questions';
import type { Page } from '../context';

/** What a PE or a switch does in the range, as far as it is known yet. */
export interface RangeNumbers {
  readonly fires: number | undefined;
  readonly sends: number | undefined;
  readonly receives: number | undefined;
  readonly transmissions: number | undefined;
}

/** Undefined where there is no range, and of pieces that tell of it elsewhere. */
export function rangeNumbers({ explorer, inspection }: Page, piece: Piece): RangeNumbers | undefined {
  const shape = explorer.trace.shape.value;
  if (shape === undefined || explorer.time.range.value === undefined || !('pe' in piece || 'switch' in piece)) {
    return undefined;
  }
  const countOf = (feed: typeof inspection.fires, count: (counts: Float64Array) => number | undefined) => {
    const counts = feed.fed.value?.answer.columns.count;
    return counts === undefined ? undefined : count(counts);
  };
  const ofElement = (feed: typeof inspection.fires) =>
    countOf(feed, (counts) => {
      const place = 'pe' in piece ? placeOf(piece.pe) : undefined;
      return place === undefined ? undefined : sumIn(shape, counts, { first: place, last: place });
    });
  return {
    fires: ofElement(inspection.fires),
    sends: ofElement(inspection.sends),
    receives: ofElement(inspection.receives),
    transmissions: countOf(inspection.transmissions, (counts) =>
      'switch' in piece ? counts[piece.switch[1] * shape.clusters[0] + piece.switch[0]] : undefined,
    ),
  };
}

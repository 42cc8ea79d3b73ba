import { edgeAt, xOf, type TimeWindow } from '../../base/timeScale';

const REACH = 6; // pixels

/**
 * The edge between two cycles that a hand at `x` means: one of `edges` that is near, else the
 * nearest. Without snapping always the nearest.
 */
export function snappedEdge(
  view: TimeWindow,
  width: number,
  x: number,
  edges: readonly bigint[],
  snapping: boolean,
): bigint {
  let best: bigint | undefined;
  let bestDistance = REACH;
  for (const edge of snapping ? edges : []) {
    const distance = Math.abs(xOf(view, width, edge) - x);
    if (distance <= bestDistance) {
      best = edge;
      bestDistance = distance;
    }
  }
  return best ?? edgeAt(view, width, x);
}

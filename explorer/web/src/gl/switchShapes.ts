import type { Layout } from '../base/floorplan/layout';
import { SWITCH_FILLS, type Palette } from '../theme/palettes';
import { switchColours } from './cellLooks';
import type { WedgeList } from './wedges';

function addDiamond(list: WedgeList, x: number, y: number, radius: number, color: readonly [number, number, number]): void {
  const shape = { start: 0, neck: radius, head: radius, left: radius, right: radius, tip: 0 };
  list.add([x - radius, y, x + radius, y], shape, color, 1);
}

/** Diamonds in the crosses: in the colour of the last thread, filled while they are fresh. */
export function addSwitches(list: WedgeList, layout: Layout, codes: Uint8Array, palette: Palette, lit: number | undefined): void {
  const [columns] = layout.shape.clusters;
  if (codes.length === 1 && codes[0] === 0) {
    return; // a flat mesh has no switch to show
  }
  const radius = layout.switchRadius;
  codes.forEach((code, number) => {
    const cluster = { column: number % columns, row: Math.floor(number / columns) };
    const { x, y } = layout.switchMiddle(cluster);
    const { edge, fill } = switchColours(palette, code, SWITCH_FILLS, lit);
    addDiamond(list, x, y, radius, edge);
    addDiamond(list, x, y, Math.max(0, radius - Math.SQRT2 * layout.look.ratio), fill);
  });
}

import type { Layout } from '../../base/floorplan/layout';
import { rangeText } from '../../base/words';
import { scaleEnd, unitMeans } from '../../gl/unitCodes';
import type { Explorer } from '../../model/explorer';
import type { HeatOf } from '../../protocol/questions';
import { usePage } from '../context';
import type { FloorplanController } from '../floorplan/controller';
import { keptHeat } from '../floorplan/input';
import { Scale } from './Scale';

export const HEATS: Readonly<Record<HeatOf, { readonly title: string; readonly none: string }>> = {
  fires: { title: 'Fires a PE', none: 'no fire in the range' },
  sends: { title: 'Sends a PE', none: 'no send in the range' },
  receives: { title: 'Receives a PE', none: 'nothing received in the range' },
  transmissions: { title: 'Transmissions a switch', none: 'no transmission in the range' },
  idle: { title: 'Idle cycles a PE', none: 'never idle in the range' },
};

export const decimals = new Intl.NumberFormat('en-GB', { maximumFractionDigits: 1 });

/** The end of the scale at the level that is drawn, and whether anything lies beyond. */
export function heatEnd(explorer: Explorer, layout: Layout): { readonly end: number; readonly more: boolean } | undefined {
  const heat = keptHeat(explorer, layout.shape);
  const head = explorer.layers.heat.answer.value?.head;
  if (heat === undefined || head === undefined) {
    return undefined;
  }
  const end = scaleEnd(layout.shape, layout.grain, heat.values, heat.end);
  const highest =
    layout.level === 'pe' ? head.highest : unitMeans(layout.shape, layout.grain, heat.values).reduce((a, b) => Math.max(a, b), 0);
  return { end, more: highest > end };
}

/** How much of what is counted each colour stands for. */
export function HeatLegend({ controller }: { readonly controller: FloorplanController }) {
  const { explorer } = usePage();
  const { view, layers } = explorer;
  const layout = controller.seen.value;
  const scale = layout && heatEnd(explorer, layout);
  const span = layers.span();
  const words = HEATS[view.heatOf.value];
  return (
    <>
      <h2 class="rail-title">
        {words.title}, cycles {rangeText(BigInt(span.first), BigInt(span.last))}
      </h2>
      <div class="legend">
        <select
          class="legend-choice"
          aria-label="Heat of"
          value={view.heatOf.value}
          onChange={(event) => (view.heatOf.value = event.currentTarget.value as HeatOf)}
        >
          {Object.entries(HEATS).map(([what, { title }]) => (
            <option key={what} value={what}>
              {title}
            </option>
          ))}
        </select>
        <Scale />
        <div class="legend-row">
          <span>0</span>
          {scale && (
            <span class="legend-number strong">
              {decimals.format(scale.end)}
              {scale.more ? ' and more' : ''}
            </span>
          )}
        </div>
        <div class="legend-row">
          <span class="legend-none" />
          {words.none}
        </div>
      </div>
    </>
  );
}

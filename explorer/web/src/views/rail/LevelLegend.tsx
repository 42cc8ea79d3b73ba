import { LEAST_PITCH } from '../../base/floorplan/layout';
import type { Shape } from '../../base/shape';
import { thousands } from '../../base/words';
import type { FloorplanController } from '../floorplan/controller';

/** The pitch in CSS pixels from which a level is drawn. */
function pitchOf(shape: Shape, level: 'pe' | 'domain'): number {
  return level === 'pe' ? LEAST_PITCH : LEAST_PITCH / Math.min(shape.pes[0], shape.pes[1]);
}

const percent = (share: number): string => `${thousands(Math.ceil(100 * share))} %`;

const GRAINS = { block: 'Blocks', domain: 'Domains', cluster: 'Clusters' } as const;

/** What is drawn at this zoom, and at which that changes. */
export function LevelLegend({ controller }: { readonly controller: FloorplanController }) {
  const layout = controller.seen.value;
  const level = layout?.level;
  if (layout === undefined || level === undefined || level === 'pe') {
    return null;
  }
  const { shape } = layout;
  const { span } = layout.grain;
  const fit = controller.fit();
  return (
    <>
      <h2 class="rail-title">Drawn now</h2>
      <div class="legend">
        <span class="strong">
          {GRAINS[level]} of {span[0]} × {span[1]} PEs
        </span>
        <span class="legend-small">
          PEs from zoom {percent(pitchOf(shape, 'pe') / fit)},{' '}
          {level === 'block'
            ? `larger blocks below ${percent(LEAST_PITCH / span[0] / fit)}`
            : `${level === 'domain' ? 'clusters below' : 'domains from'} ${percent(pitchOf(shape, 'domain') / fit)}`}
        </span>
      </div>
    </>
  );
}

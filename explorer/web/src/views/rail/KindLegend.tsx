import { counted } from '../../base/words';
import { OTHER_KIND } from '../../gl/cellLooks';
import { css, PALETTES } from '../../theme/palettes';
import { usePage } from '../context';

/** How many elements have each code. */
export function countCodes(codes: Uint8Array | undefined): Uint32Array {
  const counts = new Uint32Array(256);
  codes?.forEach((code) => (counts[code]! += 1));
  return counts;
}

/** The kinds of what elements fired last, as the companion of the trace calls them. */
export function KindLegend() {
  const { layers, settings, view } = usePage().explorer;
  const answer = layers.kinds.answer.value;
  const palette = PALETTES[view.asViewer.value ? 'light' : settings.theme.value];
  const counts = countCodes(answer?.columns.elements);
  const row = (name: string, code: number, colour: readonly [number, number, number] | undefined) => (
    <li key={name} class="legend-row">
      <i class="legend-swatch" style={{ background: css(colour ?? palette.idle) }} />
      <span>{name}</span>
      <span class="legend-number">{counted(counts[code] ?? 0, 'PE')}</span>
    </li>
  );
  return (
    <>
      <h2 class="rail-title">Kinds, last fire on a PE</h2>
      <ul class="legend">
        {answer?.head.kinds.map((name, i) => row(name, i + 1, palette.threads[i]))}
        {(counts[OTHER_KIND] ?? 0) > 0 && row('other kinds', OTHER_KIND, palette.idle)}
      </ul>
    </>
  );
}

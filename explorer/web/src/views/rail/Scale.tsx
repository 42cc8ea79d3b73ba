import { css, PALETTES } from '../../theme/palettes';
import { usePage } from '../context';

/** The sixteen stops of the map for low to high. */
export function Scale() {
  const { settings, view } = usePage().explorer;
  const stops = PALETTES[view.asViewer.value ? 'light' : settings.theme.value].sequential;
  return (
    <div class="legend-scale" aria-hidden="true">
      {stops.map((stop) => (
        <i key={css(stop)} style={{ background: css(stop) }} />
      ))}
    </div>
  );
}

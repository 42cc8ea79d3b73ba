import { counted } from '../../base/words';
import { css, ELEMENT_FILLS, ELEMENT_SIDES, mix, PALETTES } from '../../theme/palettes';
import { usePage } from '../context';

/** Fresh is solid, old is hollow. */
export function AgeLegend({ untouched }: { readonly untouched: number | undefined }) {
  const { view, settings } = usePage().explorer;
  const palette = PALETTES[settings.theme.value];
  const thread = palette.threads[0] ?? palette.ink;
  const viewer = view.asViewer.value;
  return (
    <>
      <h2 class="rail-title">Age</h2>
      <div class="legend">
        {viewer ? (
          <span>As the viewer fades it</span>
        ) : (
          <div class="legend-row">
            <span class="legend-ages" aria-hidden="true">
              {ELEMENT_SIDES.map((side, age) => (
                <i
                  key={side}
                  style={{
                    width: `${side}rem`,
                    height: `${side}rem`,
                    background: css(mix(thread, palette.paper, ELEMENT_FILLS[age] ?? 1)),
                    boxShadow: `inset 0 0 0 1px ${css(thread)}`,
                  }}
                />
              ))}
            </span>
            <span class="legend-number">0–4+ steps</span>
          </div>
        )}
        <div class="legend-row">
          <span class={viewer ? 'legend-grey' : 'legend-dot'} />
          <span>no fire yet</span>
          {untouched !== undefined && <span class="legend-number">{counted(untouched, 'PE')}</span>}
        </div>
      </div>
    </>
  );
}

function Wedge({ path, class: name }: { readonly path: string; readonly class: string }) {
  return (
    <svg class={`legend-wedge ${name}`} viewBox="0 0 64 12" aria-hidden="true">
      <path d={path} />
    </svg>
  );
}

export function MessageLegend() {
  const viewer = usePage().explorer.view.asViewer.value;
  return (
    <>
      <h2 class="rail-title">Messages</h2>
      <div class="legend">
        <div class="legend-row">
          <Wedge class={viewer ? 'band' : 'new'} path={viewer ? 'M4 5H60V7H4Z' : 'M2 3.5 62 5.5v1L2 8.5Z'} />
          <span>{viewer ? 'new' : 'wide end sends'}</span>
        </div>
        <div class="legend-row">
          <Wedge class={viewer ? 'band old' : 'old'} path={viewer ? 'M4 5H60V7H4Z' : 'M2 4.5 62 5.6v.8L2 7.5Z'} />
          <span>to 11 steps old</span>
        </div>
      </div>
    </>
  );
}

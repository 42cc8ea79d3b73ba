import { placeOf, placeText } from '../../base/place';
import { counted, rangeText, thousands } from '../../base/words';
import { linkEnd, type Mesh } from '../../model/selectionStore';
import type { LinkOfHead } from '../../protocol/answers';
import { css, PALETTES, stopOf } from '../../theme/palettes';
import { usePage } from '../context';
import { Scale } from './Scale';

const percent = (share: number): string => `${thousands(Math.round(100 * share))} %`;

/** How many directions there are at each part of the scale. */
function Histogram({ counts }: { readonly counts: readonly number[] }) {
  const most = Math.max(1, ...counts);
  return (
    <svg class="legend-histogram" viewBox="0 0 160 40" preserveAspectRatio="none" aria-hidden="true">
      {counts.map((count, i) => (
        <rect key={i} x={10 * i} y={40 - (38 * count) / most} width="9" height={(38 * count) / most} />
      ))}
    </svg>
  );
}

function Fullest(props: {
  readonly links: readonly LinkOfHead[];
  readonly end: number;
  readonly count: number;
  readonly mesh: Mesh;
}) {
  const { links, end, count, mesh } = props;
  const { settings, selection } = usePage().explorer;
  const stops = PALETTES[settings.theme.value].sequential;
  return (
    <>
      <h2 class="rail-title">Fullest of {counted(count, 'direction')}</h2>
      <ul class="legend">
        {links.map(({ node, heading, load }) => {
          const from = placeOf(node);
          return (
            <li key={`${placeText(from)} ${heading}`}>
              <button
                type="button"
                class="legend-row legend-link"
                onClick={() => selection.selectPiece({ link: [node[0], node[1], heading] })}
              >
                <i class="legend-swatch" style={{ background: css(stopOf(stops, end > 0 ? load / end : 0)) }} />
                <span>
                  {placeText(from)} → {placeText(linkEnd(from, heading, mesh))}
                </span>
                <span class="legend-number strong">{percent(load)}</span>
              </button>
            </li>
          );
        })}
      </ul>
    </>
  );
}

/** How full the links are over the range. */
export function LinkLegend() {
  const { layers } = usePage().explorer;
  const answer = layers.links.answer.value;
  const span = layers.span();
  const title = (
    <h2 class="rail-title">Link load, cycles {rangeText(BigInt(span.first), BigInt(span.last))}</h2>
  );
  if (answer === undefined) {
    return title;
  }
  const { head } = answer;
  const directions = head.histogram.reduce((sum, count) => sum + count, 0);
  return (
    <>
      {title}
      <div class="legend">
        <Histogram counts={head.histogram} />
        <Scale />
        <div class="legend-row">
          <span>0 %</span>
          <span class="legend-middle">of 1 {head.unit.replace(/^(\w+)s\b/, '$1')}</span>
          <span class="legend-number strong">{percent(layers.loadEnd)}</span>
        </div>
        <span class="legend-small">Each direction keeps right; wider is fuller.</span>
      </div>
      <Fullest links={head.fullest} end={layers.loadEnd} count={directions} mesh={head.mesh} />
    </>
  );
}

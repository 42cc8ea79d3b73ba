import { grainOf, unitsOf, type Level, type Shape } from '../../base/shape';
import type { PlacePair } from '../../base/place';
import { counted, rangeText, thousands } from '../../base/words';
import { spanOf } from '../../model/inspection';
import type { PlaceRect } from '../../model/selectionStore';
import { areaOf, areaSize, ranking, sumIn, type Area, type UnitSum } from '../../model/unitSums';
import type { Piece } from '../../protocol/questions';
import { usePage } from '../context';
import { Head, NumberRow, PieceRow, Section } from './parts';
import { PlanOfArea } from './PlanOfArea';
import { rounded } from './words';

const MOST_LISTED = 6;

function unitOfPiece(piece: Piece): { readonly level: Level; readonly unit: PlacePair } | undefined {
  if ('cluster' in piece) {
    return { level: 'cluster', unit: piece.cluster };
  }
  return 'domain' in piece ? { level: 'domain', unit: piece.domain } : undefined;
}

/** Fires, sends and receives of an area over the range. */
function Sums(props: {
  readonly shape: Shape;
  readonly area: Area;
  readonly aside?: string;
  /** The middle one of its like. */
  readonly median?: { readonly name: string; readonly sum: number };
}) {
  const { shape, area, aside, median } = props;
  const { explorer, inspection } = usePage();
  const countsOf = (feed: typeof inspection.fires) => feed.fed.value?.answer.columns.count;
  const [fires, sends, receives] = [inspection.fires, inspection.sends, inspection.receives].map(countsOf);
  const span = spanOf(explorer);
  const title = explorer.time.range.value === undefined ? 'Whole run' : 'In the range';
  if (fires === undefined) {
    return null;
  }
  const sum = sumIn(shape, fires, area);
  const size = areaSize(area);
  return (
    <Section title={title} aside={aside ?? `cycles ${rangeText(span.first, span.last)}`}>
      <dl class="numbers">
        <NumberRow name="Fires" value={sum} />
        {size === 1 ? null : <NumberRow name="Fires a PE" value={rounded(sum / size)} />}
        {median === undefined ? null : <NumberRow name={`Median ${median.name}`} value={median.sum} />}
        {sends === undefined ? null : <NumberRow name="Sends" value={sumIn(shape, sends, area)} />}
        {receives === undefined ? null : <NumberRow name="Receives" value={sumIn(shape, receives, area)} />}
      </dl>
    </Section>
  );
}

/** The busiest units of a level, and which of them this one is. */
function Busiest({ level, ranked }: { readonly level: Level; readonly ranked: readonly UnitSum[] }) {
  const most = Math.max(1, ranked[0]?.sum ?? 1);
  return (
    <Section title={`Busiest ${level}s`} aside="fires">
      <ul class="piece-rows">
        {ranked.slice(0, MOST_LISTED).map(({ unit, sum }) => (
          <PieceRow
            key={String(unit)}
            name={`${level === 'cluster' ? 'Cluster' : 'Domain'} ${unit[0]},${unit[1]}`}
            piece={level === 'cluster' ? { cluster: unit } : { domain: unit }}
            share={sum / most}
            value={thousands(sum)}
          />
        ))}
      </ul>
    </Section>
  );
}

function rankText(shape: Shape, level: Level, unit: PlacePair, ranked: readonly UnitSum[]): string {
  const own = ranked.find((one) => one.unit[0] === unit[0] && one.unit[1] === unit[1])?.sum ?? 0;
  const [columns, rows] = unitsOf(shape, grainOf(shape, level));
  const rank = 1 + ranked.filter(({ sum }) => sum > own).length;
  return `rank ${thousands(rank)} of ${counted(columns * rows, level)}`;
}

/** What a cluster or a domain does: its PEs now, their sums in the range, and the busiest of its like. */
export function UnitSections({ piece }: { readonly piece: Piece }) {
  const { explorer, inspection } = usePage();
  const shape = explorer.trace.shape.value;
  const found = unitOfPiece(piece);
  if (shape === undefined || found === undefined) {
    return null;
  }
  const { level, unit } = found;
  const counts = inspection.fires.fed.value?.answer.columns.count;
  const area = areaOf(shape, level, unit);
  const ranked = counts === undefined ? [] : ranking(shape, level, counts);
  const median = { name: level, sum: ranked[ranked.length >> 1]?.sum ?? 0 };
  return (
    <>
      <PlanOfArea shape={shape} area={area} />
      <Sums
        shape={shape}
        area={area}
        {...(counts === undefined ? {} : { aside: rankText(shape, level, unit, ranked), median })}
      />
      {counts === undefined ? null : <Busiest level={level} ranked={ranked} />}
    </>
  );
}

/** A rectangle of elements. */
export function RectView({ rect }: { readonly rect: PlaceRect }) {
  const { explorer } = usePage();
  const shape = explorer.trace.shape.value;
  const { first, last } = rect;
  const size = `${last.column - first.column + 1} × ${last.row - first.row + 1} PEs`;
  return (
    <>
      <Head title={`PEs ${first.column},${first.row} to ${last.column},${last.row}`} place={size} />
      {shape === undefined ? null : <PlanOfArea shape={shape} area={rect} />}
      {shape === undefined ? null : <Sums shape={shape} area={rect} />}
    </>
  );
}

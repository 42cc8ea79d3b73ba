import { rangeText } from '../../base/words';
import { spanOf } from '../../model/inspection';
import type { Heading } from '../../protocol/questions';
import { linkEnd, type Mesh } from '../../model/selectionStore';
import { usePage } from '../context';
import { NumberRow, PieceRow, Section } from './parts';
import { rounded } from './words';

const HEADINGS: readonly Heading[] = ['right', 'left', 'up', 'down'];

/** "3,2 → 3,3". */
function linkText(node: readonly [number, number], heading: Heading, mesh: Mesh): string {
  const end = linkEnd({ column: node[0], row: node[1] }, heading, mesh);
  return `${node[0]},${node[1]} → ${end.column},${end.row}`;
}

/** How full a link is in the range, beside the fullest ones. */
export function LinkSection({ link }: { readonly link: readonly [number, number, Heading] }) {
  const { explorer, inspection } = usePage();
  const answer = inspection.links.fed.value?.answer;
  if (answer === undefined) {
    return null;
  }
  const { head, columns } = answer;
  const [column, row, heading] = link;
  const load = columns[heading][row * head.mesh.columns + column] ?? 0;
  const fuller = HEADINGS.reduce(
    (count, each) => count + columns[each].reduce((sum, other) => sum + (other > load ? 1 : 0), 0),
    0,
  );
  const used = HEADINGS.reduce((count, each) => count + columns[each].filter((other) => other > 0).length, 0);
  const span = spanOf(explorer);
  const scale = Math.max(head.highest, 1e-9);
  return (
    <>
      <Section title={`Cycles ${rangeText(span.first, span.last)}`} aside={`rank ${fuller + 1} of ${head.links ?? used} links`}>
        <dl class="numbers">
          <NumberRow name="Load" value={`${rounded(100 * load)} %`} share={load / scale} />
        </dl>
        <p class="inspector-note">
          of {rounded(head.capacity ?? 1)} {head.capacity === 1 ? head.unit.replace('messages', 'message') : head.unit}
        </p>
      </Section>
      <Section title="Fullest directions">
        <ul class="piece-rows">
          {head.fullest.map((one) => (
            <PieceRow
              key={String(one.node) + one.heading}
              name={linkText(one.node, one.heading, head.mesh)}
              piece={{ link: [one.node[0], one.node[1], one.heading] }}
              share={one.load / scale}
              value={`${rounded(100 * one.load)} %`}
            />
          ))}
        </ul>
      </Section>
    </>
  );
}

import { counted, rangeText, thousands } from '../../base/words';
import { columnsOf, rowsOf } from '../../base/shape';
import { companionWords, notesIn, noteText } from '../../model/noteWords';
import type { CycleSpan } from '../../model/timeStore';
import { EVENT_TYPES } from '../../protocol/questions';
import { Button } from '../../widgets/Button';
import { Keys } from '../../widgets/Keys';
import { usePage } from '../context';
import { Chip, Head, NumberRow, PieceRow, Section } from './parts';
import { rounded } from './words';

/** The whole run, where nothing is selected. */
export function NothingView() {
  const { trace, view } = usePage().explorer;
  const head = trace.head.value;
  const shape = trace.shape.value;
  return (
    <>
      <header class="inspector-head">
        <h2>Nothing selected</h2>
      </header>
      <div class="inspector-hints">
        <p>Click a PE, a switch or a link to see what it does.</p>
        <p>
          <Keys parts={['Shift']} /> + drag selects a rectangle.
        </p>
        <p>
          <Keys parts={['/']} /> finds a place by name.
        </p>
      </div>
      {head === undefined || shape === undefined ? null : (
        <Section
          title="Whole run instead"
          aside={counted(view.asViewer.value ? head.steps : head.naturalSteps, 'step')}
        >
          <dl class="numbers">
            <NumberRow name="Fires" value={head.fires} />
            <NumberRow name="Messages" value={head.sends} />
            <NumberRow name="Transmissions" value={head.switches} />
            <NumberRow name="Fires a PE, average" value={rounded(head.fires / (columnsOf(shape) * rowsOf(shape)))} />
          </dl>
          {companionWords(head).map((words) => (
            <p key={words} class="inspector-note">
              {words}
            </p>
          ))}
        </Section>
      )}
    </>
  );
}

type Measured = Readonly<Record<string, unknown>>;

const numberIn = (head: Measured, ...path: readonly string[]): number | undefined => {
  const value = path.reduce<unknown>((at, key) => (at as Measured | undefined)?.[key], head);
  return typeof value === 'number' ? value : undefined;
};

interface Busy {
  readonly at: readonly [number, number];
  readonly value: number;
}

function busiestIn(head: Measured): readonly Busy[] {
  const list = (head['elements'] as Measured | undefined)?.['busiest'];
  return Array.isArray(list) ? (list as Busy[]).filter((one) => Array.isArray(one.at)) : [];
}

function BusiestElements({ busiest }: { readonly busiest: readonly Busy[] }) {
  const most = Math.max(1e-9, ...busiest.map((one) => one.value));
  return (
    <Section title="Busiest PEs" aside="fires a cycle">
      <ul class="piece-rows">
        {busiest.map(({ at, value }) => (
          <PieceRow
            key={String(at)}
            name={`PE ${at[0]},${at[1]}`}
            piece={{ pe: at }}
            share={value / most}
            value={value.toFixed(3)}
          />
        ))}
      </ul>
    </Section>
  );
}

/** The range, as the measures of the library tell it. */
export function RangeView({ range }: { readonly range: CycleSpan }) {
  const { commands, inspection } = usePage();
  const head = inspection.measures.fed.value?.answer.head;
  const rows: readonly [string, number | undefined][] = [
    ['Fires', head && numberIn(head, 'fires')],
    ['Fires a cycle', head && numberIn(head, 'firesPerCycle')],
    ['Most fires in a cycle', head && numberIn(head, 'peakFires')],
    ['Messages', head && numberIn(head, 'sends')],
    ['Transmissions', head && numberIn(head, 'transmissions')],
    ['Distance of messages, mean', head && numberIn(head, 'distance', 'mean')],
    ['PEs that never fire', head && numberIn(head, 'elements', 'never')],
  ];
  return (
    <>
      <header class="inspector-head">
        <h2>Cycles {rangeText(range.first, range.last)}</h2>
        <Button label="Zoom to the range" icon="focus" onPress={() => commands.run('timeline.toRange')} />
        <Button label="Clear the range" icon="close" onPress={() => commands.run('timeline.clearRange')} />
        <p>{counted(range.last - range.first + 1n, 'cycle')}</p>
      </header>
      {head === undefined ? null : (
        <Section title="In the range">
          <dl class="numbers">
            {rows.map(([name, value]) =>
              value === undefined ? null : <NumberRow key={name} name={name} value={rounded(value)} />,
            )}
          </dl>
        </Section>
      )}
      {head === undefined ? null : <BusiestElements busiest={busiestIn(head)} />}
    </>
  );
}

/** One event of the trace. */
export function RecordView({ record }: { readonly record: number }) {
  const { inspection, explorer } = usePage();
  const columns = inspection.event.fed.value?.answer.columns;
  const type = columns === undefined ? undefined : EVENT_TYPES[columns.type[0] ?? 0];
  const pair = (list: Uint32Array | undefined) => [list?.[0] ?? 0, list?.[1] ?? 0] as const;
  const [at, to] = [pair(columns?.at), pair(columns?.to)];
  const select = (pe: readonly [number, number]) => explorer.selection.selectPiece({ pe });
  const head = explorer.trace.head.value;
  const unnoted = head?.notesEnd && record >= head.notesEnd.record;
  return (
    <>
      <Head title={`Record ${thousands(record)}`} />
      {columns === undefined || type === undefined ? null : (
        <dl class="inspector-facts">
          <div>
            <dt>What</dt>
            <dd>
              <span class="with-chip">
                <Chip thread={columns.thread[0] ?? 0} />
                {explorer.trace.threadName(columns.thread[0] ?? 0)},{' '}
                {type === 'fire' ? 'fires' : type === 'send' ? 'sends' : 'transmits'}
              </span>
            </dd>
          </div>
          <div>
            <dt>Cycle</dt>
            <dd>{thousands(columns.cycle[0] ?? 0n)}</dd>
          </div>
          <div>
            <dt>{type === 'send' ? 'From' : 'At'}</dt>
            <dd>
              <button type="button" class="inline-place" onClick={() => select(at)}>
                PE {at[0]},{at[1]}
              </button>
            </dd>
          </div>
          {type === 'send' ? (
            <div>
              <dt>To</dt>
              <dd>
                <button type="button" class="inline-place" onClick={() => select(to)}>
                  PE {to[0]},{to[1]}
                </button>
              </dd>
            </div>
          ) : null}
          {notesIn(columns, 0, head?.attributes ?? []).map(([name, value]) => (
            <div key={name}>
              <dt>{name}</dt>
              <dd>{noteText(value)}</dd>
            </div>
          ))}
        </dl>
      )}
      {unnoted ? <p class="inspector-note">Its notes are missing: the notes end before the trace.</p> : null}
    </>
  );
}

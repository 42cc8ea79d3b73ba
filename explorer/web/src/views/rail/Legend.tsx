import { pitchOf, type Layout } from '../../base/floorplan/layout';
import { THREADS } from '../../base/picture';
import { counted, rangeText, thousands } from '../../base/words';
import { scaleEnd } from '../../gl/unitCodes';
import type { Explorer } from '../../model/explorer';
import type { HeatOf } from '../../protocol/questions';
import { threadColours } from '../../theme/palettes';
import { ThreadChip } from '../../widgets/ThreadChip';
import { usePage } from '../context';
import type { FloorplanController } from '../floorplan/controller';
import { keptHeat } from '../floorplan/input';
import { AgeLegend, MessageLegend } from './AgeLegend';
import { KindLegend } from './KindLegend';
import { LinkLegend } from './LinkLegend';
import { Scale } from './Scale';

/** How many elements each thread (modulo 6) fired on last; the last number is of none. */
export function countThreads(elements: Uint8Array): readonly number[] {
  const codes = new Uint32Array(256);
  for (let i = 0; i < elements.length; ++i) {
    codes[elements[i] ?? 0]! += 1;
  }
  const counts = new Array<number>(THREADS + 1).fill(0);
  counts[THREADS] = codes[0] ?? 0;
  for (let code = 1; code < 1 + 5 * THREADS; ++code) {
    counts[Math.floor((code - 1) / 5)]! += codes[code] ?? 0;
  }
  return counts;
}

/** "thread 2", or "threads 2, 8, 14 …" where several have one colour. */
export function threadsText(threads: readonly number[], number: number, nameOf: (thread: number) => string): string {
  const own = threads.filter((thread) => thread % THREADS === number);
  if (own.length <= 1) {
    return nameOf(own[0] ?? number);
  }
  return `threads ${own.slice(0, 3).join(', ')}${own.length > 3 ? ' …' : ''}`;
}

function ThreadLegend() {
  const { explorer } = usePage();
  const { view, trace, playback, settings } = explorer;
  const threads = trace.head.value?.threads ?? [];
  const colours = threadColours(settings.theme.value, view.asViewer.value);
  const elements = playback.picture.value?.elements;
  const counts = elements === undefined ? undefined : countThreads(elements);
  const shown = Array.from({ length: THREADS }, (_, i) => i).filter((i) => threads.some((thread) => thread % THREADS === i));
  const light = (thread: number | undefined) => () => (view.litThread.value = thread);
  return (
    <>
      <h2 class="rail-title">Threads, last fire on a PE</h2>
      <ul class="legend">
        {shown.map((thread) => (
          <li key={thread} class="legend-row" onPointerEnter={light(thread)} onPointerLeave={light(undefined)}>
            <ThreadChip thread={thread} colours={colours} edge={view.asViewer.value} />
            <span>{threadsText(threads, thread, (one) => trace.threadName(one))}</span>
            <span class="legend-number">{counts && counted(counts[thread] ?? 0, 'PE')}</span>
          </li>
        ))}
      </ul>
      <AgeLegend untouched={counts?.[THREADS]} />
      {view.messages.value && <MessageLegend />}
    </>
  );
}

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
  const end = scaleEnd(layout.shape, layout.level, heat.values, heat.end);
  return { end, more: head.highest > end };
}

function HeatLegend({ controller }: { readonly controller: FloorplanController }) {
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

const percent = (share: number): string => `${thousands(Math.ceil(100 * share))} %`;

/** What is drawn at this zoom, and at which that changes. */
function LevelLegend({ controller }: { readonly controller: FloorplanController }) {
  const layout = controller.seen.value;
  if (layout === undefined || layout.level === 'pe') {
    return null;
  }
  const { shape, level } = layout;
  const fit = controller.fit();
  const span = level === 'domain' ? shape.pes : [shape.domains[0] * shape.pes[0], shape.domains[1] * shape.pes[1]];
  return (
    <>
      <h2 class="rail-title">Drawn now</h2>
      <div class="legend">
        <span class="strong">
          {level === 'domain' ? 'Domains' : 'Clusters'} of {span[0]} × {span[1]} PEs
        </span>
        <span class="legend-small">
          PEs from zoom {percent(pitchOf(shape, 'pe') / fit)},{' '}
          {level === 'domain'
            ? `clusters below ${percent(pitchOf(shape, 'domain') / fit)}`
            : `domains from ${percent(pitchOf(shape, 'domain') / fit)}`}
        </span>
      </div>
    </>
  );
}

export function Legend({ controller }: { readonly controller: FloorplanController }) {
  const { view } = usePage().explorer;
  const by = view.colourBy.value;
  return (
    <>
      {view.linkLoad.value && <LinkLegend />}
      {by === 'thread' && !view.linkLoad.value && <ThreadLegend />}
      {by === 'kind' && <KindLegend />}
      {by === 'heat' && <HeatLegend controller={controller} />}
      <LevelLegend controller={controller} />
    </>
  );
}

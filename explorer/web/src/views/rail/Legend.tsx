import { THREADS } from '../../base/picture';
import { counted } from '../../base/words';
import { threadColours } from '../../theme/palettes';
import { ThreadChip } from '../../widgets/ThreadChip';
import { usePage } from '../context';
import type { FloorplanController } from '../floorplan/controller';
import { later } from '../../widgets/later';
import { AgeLegend, MessageLegend } from './AgeLegend';
import type { HeatLegend as Heat } from './HeatLegend';
import type { LevelLegend as Level } from './LevelLegend';

// Those of layers that most pages are not opened with.
const LinkLegend = later(async () => (await import('./LinkLegend')).LinkLegend);
const KindLegend = later(async () => (await import('./KindLegend')).KindLegend);
const LevelLegend = later<Parameters<typeof Level>[0]>(async () => (await import('./LevelLegend')).LevelLegend);
const ViewerLegend = later(async () => (await import('./ViewerLegend')).ViewerLegend);
const HeatLegend = later<Parameters<typeof Heat>[0]>(async () => (await import('./HeatLegend')).HeatLegend);

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

export function Legend({ controller }: { readonly controller: FloorplanController }) {
  const { view } = usePage().explorer;
  const by = view.colourBy.value;
  return (
    <>
      {view.linkLoad.value && <LinkLegend />}
      {by === 'thread' && !view.linkLoad.value && <ThreadLegend />}
      {by === 'kind' && <KindLegend />}
      {by === 'heat' && <HeatLegend controller={controller} />}
      {view.asViewer.value && <ViewerLegend />}
      {(controller.seen.value?.level ?? 'pe') !== 'pe' && <LevelLegend controller={controller} />}
    </>
  );
}

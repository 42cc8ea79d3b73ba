import { counted, rangeText, thousands } from '../../base/words';
import {
  cutTake,
  eventsTake,
  filmTake,
  MOST_PICTURES,
  plotTake,
  reportTake,
  statsTake,
  type PlotKind,
  type TakeQuery,
} from '../../model/takeAway';
import type { IconName } from '../../widgets/icons';
import { listOf } from '../events/listOf';
import type { Page } from '../context';

/** A file of one format. */
export interface Format {
  readonly name: string;
  /** What makes it; asked when it is wanted. */
  readonly query: () => TakeQuery | Promise<TakeQuery>;
  /** Of any length: the browser fetches it, and the page does not hold it. */
  readonly directly?: boolean;
}

/** Something to take away. */
export interface Offer {
  readonly id: string;
  readonly icon: IconName;
  readonly name: string;
  readonly words: string;
  readonly formats: readonly Format[];
  /** What its command line is made of. */
  readonly command: () => TakeQuery | Promise<TakeQuery>;
}

export const PLOTS: readonly { readonly kind: PlotKind; readonly name: string }[] = [
  { kind: 'timeline', name: 'When it is busy' },
  { kind: 'heat', name: 'Where it is busy' },
  { kind: 'links', name: 'Which links fill' },
  { kind: 'threads', name: 'Which thread lives where' },
  { kind: 'spacetime', name: 'Who worked when' },
  { kind: 'histogram', name: 'How far, how long' },
  { kind: 'latency', name: 'When the network saturates' },
  { kind: 'why', name: 'The critical path' },
];

export const RATES = [12, 24, 48] as const;

/** The range in cycles, or the whole run. */
function spanWords({ explorer }: Page): string {
  const range = explorer.time.range.value;
  return range === undefined ? 'the whole run' : `cycles ${rangeText(range.first, range.last)}`;
}

/** The first and last step of the range as a film counts them: cycles, or steps of the viewer. */
async function filmEnds({ explorer }: Page): Promise<readonly [bigint, bigint]> {
  const { time, trace, view, engine } = explorer;
  const range = time.range.peek() ?? { first: trace.firstCycle.peek(), last: trace.lastCycle.peek() };
  if (view.reading.peek() === 'natural') {
    return [range.first, range.last];
  }
  const skipTo = view.skipTo.peek();
  const stepAt = async (cycle: bigint): Promise<bigint> => {
    const { head } = await engine.ask(trace.fingerprint.peek(), 'when', { reading: 'natural', cycle: String(cycle) });
    const moment = { record: head.record, ...(skipTo === 0n ? {} : { skipTo: String(skipTo) }) };
    return BigInt((await engine.ask(trace.fingerprint.peek(), 'when', moment)).head.step);
  };
  return [await stepAt(range.first), await stepAt(range.last)];
}

export function filmOffer(page: Page, fps: number): Offer | undefined {
  const cycles = page.explorer.time.rangeCycles.value;
  if (cycles === undefined) {
    return undefined;
  }
  const query = async () => filmTake(page.explorer, ...(await filmEnds(page)), fps);
  const natural = page.explorer.view.reading.value === 'natural';
  const every = cycles / BigInt(MOST_PICTURES) + 1n;
  const pictures = !natural ? '' : `, ${counted(cycles / every + (cycles % every === 0n ? 0n : 1n), 'picture')}`;
  return {
    id: 'film',
    icon: 'play',
    name: 'Film of the range',
    words: `${spanWords(page)}${pictures}`,
    formats: [{ name: 'MP4', query }],
    command: query,
  };
}

export function plotOffer(page: Page, kind: PlotKind): Offer {
  const format = (name: string) => ({ name: name.toUpperCase(), query: () => plotTake(page.explorer, kind, name) });
  return {
    id: 'plot',
    icon: 'heat',
    name: 'Plot',
    words: spanWords(page),
    formats: [format('png'), format('svg'), format('pdf')],
    command: () => plotTake(page.explorer, kind, 'svg'),
  };
}

function cutOffer(page: Page): Offer {
  const query = (format: 'raw' | 'packed') => () => cutTake(page.explorer, format);
  return {
    id: 'trace',
    icon: 'message',
    name: 'Range as a trace',
    words: `${spanWords(page)}; as mfz it has its companion with it`,
    formats: [
      { name: 'mfz', query: query('packed'), directly: true },
      { name: 'trace', query: query('raw'), directly: true },
    ],
    command: query('packed'),
  };
}

/** What needs no choice: events, numbers, the report. */
export function plainOffers(page: Page): readonly Offer[] {
  const { explorer } = page;
  const events = listOf(page);
  const filter = () => events.filter.peek();
  const text = events.text.value.trim();
  const count = events.counted.value?.count;
  const range = events.range.value;
  const some = `${count === undefined ? '' : thousands(count)}${text === '' ? '' : ` that match ${text}`}`;
  return [
    {
      id: 'events',
      icon: 'index',
      name: 'Events',
      words:
        text === '' && range === undefined
          ? `all ${counted(explorer.trace.head.value?.records ?? 0, 'record')}`
          : `${some}${range === undefined ? '' : ` in ${spanWords(page)}`}`,
      formats: [{ name: 'CSV', query: () => eventsTake(explorer, filter(), 'csv'), directly: true }],
      command: () => eventsTake(explorer, filter(), 'text'),
    },
    {
      id: 'stats',
      icon: 'terminal',
      name: 'Numbers',
      words: `every measure of ${spanWords(page)}`,
      formats: [{ name: 'JSON', query: () => statsTake(explorer, 'json') }],
      command: () => statsTake(explorer, 'text'),
    },
    ...(explorer.time.range.value === undefined ? [] : [cutOffer(page)]),
    {
      id: 'report',
      icon: 'mark',
      name: 'Report',
      words: `one page about ${spanWords(page)}`,
      formats: [{ name: 'HTML', query: () => reportTake(explorer) }],
      command: () => reportTake(explorer),
    },
  ];
}

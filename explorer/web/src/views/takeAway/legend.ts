import type { Layout } from '../../base/floorplan/layout';
import { THREADS } from '../../base/picture';
import type { Grain } from '../../base/shape';
import { counted, rangeText, thousands } from '../../base/words';
import { OTHER_KIND } from '../../gl/cellLooks';
import { linkEnd } from '../../model/selectionStore';
import { placeOf, placeText } from '../../base/place';
import type { Explorer } from '../../model/explorer';
import { ELEMENT_FILLS, mix, PALETTES, stopOf, threadColours, type Palette, type Rgb } from '../../theme/palettes';
import { countCodes } from '../rail/KindLegend';
import { decimals, heatEnd, HEATS } from '../rail/HeatLegend';
import { countThreads, threadsText } from '../rail/Legend';

/** A line of the legend of a picture. */
export type LegendLine =
  | { readonly title: string }
  | { readonly swatch: Rgb; readonly edge?: Rgb | undefined; readonly digit?: string; readonly text: string; readonly number?: string | undefined }
  | { readonly ages: readonly Rgb[]; readonly edge: Rgb; readonly text: string }
  | { readonly dot: Rgb; readonly text: string; readonly number?: string | undefined }
  | { readonly scale: readonly Rgb[]; readonly low: string; readonly middle?: string; readonly high: string }
  | { readonly wedge: number; readonly text: string }
  | { readonly note: string };

const UNTOUCHED: Rgb = [204, 204, 204]; // as the viewer has it

const percent = (share: number): string => `${thousands(Math.round(100 * share))} %`;

function threadLines(explorer: Explorer, palette: Palette): LegendLine[] {
  const { view, trace, playback, settings } = explorer;
  const viewer = view.asViewer.peek();
  const threads = trace.head.peek()?.threads ?? [];
  const colours = threadColours(settings.theme.peek(), viewer);
  const counts = countThreads(playback.picture.peek()?.elements ?? new Uint8Array());
  const shown = Array.from({ length: THREADS }, (_, i) => i).filter((i) => threads.some((one) => one % THREADS === i));
  const untouched = { text: 'no fire yet', number: counted(counts[THREADS] ?? 0, 'PE') };
  const first = palette.threads[0] ?? palette.ink;
  const ages: LegendLine = { ages: ELEMENT_FILLS.map((fill) => mix(first, palette.paper, fill)), edge: first, text: '0–4+ steps' };
  return [
    { title: 'Threads, last fire on a PE' },
    ...shown.map((thread) => ({
      swatch: colours[thread] ?? palette.ink,
      edge: viewer ? palette.control : undefined,
      digit: String(thread),
      text: threadsText(threads, thread, (one) => trace.threadName(one)),
      number: counted(counts[thread] ?? 0, 'PE'),
    })),
    { title: 'Age' },
    viewer ? { note: 'as the viewer fades it' } : ages,
    viewer ? { swatch: UNTOUCHED, ...untouched } : { dot: palette.idle, ...untouched },
  ];
}

function kindLines(explorer: Explorer, palette: Palette): LegendLine[] {
  const answer = explorer.layers.kinds.answer.peek();
  const counts = countCodes(answer?.columns.elements);
  const row = (text: string, code: number, swatch: Rgb) => ({ swatch, text, number: counted(counts[code] ?? 0, 'PE') });
  const kinds = answer?.head.kinds ?? [];
  const others = (counts[OTHER_KIND] ?? 0) > 0 ? [row('other kinds', OTHER_KIND, palette.idle)] : [];
  return [
    { title: 'Kinds, last fire on a PE' },
    ...kinds.map((name, i) => row(name, i + 1, palette.threads[i] ?? palette.idle)),
    ...others,
  ];
}

function spanText(explorer: Explorer): string {
  const { first, last } = explorer.layers.span();
  return rangeText(BigInt(first), BigInt(last));
}

function heatLines(explorer: Explorer, layout: Layout, palette: Palette): LegendLine[] {
  const words = HEATS[explorer.view.heatOf.peek()];
  const scale = heatEnd(explorer, layout);
  const high = scale === undefined ? '' : `${decimals.format(scale.end)}${scale.more ? ' and more' : ''}`;
  return [
    { title: `${words.title}, cycles ${spanText(explorer)}` },
    { scale: palette.sequential, low: '0', high },
    { note: words.none === '' ? '' : `a dot: ${words.none}` },
  ];
}

function linkLines(explorer: Explorer, palette: Palette): LegendLine[] {
  const head = explorer.layers.links.answer.peek()?.head;
  const title = { title: `Link load, cycles ${spanText(explorer)}` };
  if (head === undefined) {
    return [title];
  }
  const middle = `of 1 ${head.unit.replace(/^(\w+)s\b/, '$1')}`;
  const end = explorer.layers.loadEnd;
  const share = (load: number) => (end > 0 ? load / end : 0);
  return [
    title,
    { scale: palette.sequential, low: '0 %', middle, high: percent(end) },
    { note: 'Each direction keeps right.' },
    { note: 'Wider is fuller.' },
    { title: 'Fullest' },
    ...head.fullest.map(({ node, heading, load }) => ({
      swatch: stopOf(palette.sequential, share(load)),
      text: `${placeText(placeOf(node))} → ${placeText(linkEnd(placeOf(node), heading, head.mesh))}`,
      number: percent(load),
    })),
  ];
}

const grainWords = ({ of, span }: Grain): string => (of === 'block' ? `blocks of ${span[0]} × ${span[1]} PEs` : `${of}s`);

/** What the picture of the floorplan shows, as the rail beside it tells. */
export function legendOf(explorer: Explorer, layout: Layout): readonly LegendLine[] {
  const { view, settings } = explorer;
  const palette = PALETTES[view.asViewer.peek() ? 'light' : settings.theme.peek()];
  const by = view.colourBy.peek();
  const links = view.linkLoad.peek();
  const threads = by === 'thread' && !links;
  const viewer = view.asViewer.peek();
  return [
    ...(links ? linkLines(explorer, palette) : []),
    ...(threads ? threadLines(explorer, palette) : []),
    ...(by === 'kind' ? kindLines(explorer, palette) : []),
    ...(by === 'heat' ? heatLines(explorer, layout, palette) : []),
    ...(layout.level === 'pe' ? [] : [{ note: `drawn: ${grainWords(layout.grain)}` }]),
    ...(view.messages.peek() && layout.level === 'pe' && !viewer
      ? [{ title: 'Messages' }, { wedge: 1, text: 'wide end sends' }, { wedge: 0.3, text: 'to 11 steps old' }]
      : []),
  ];
}

/** The words above a picture: the trace, and the moment. */
export function captionOf(explorer: Explorer): { readonly title: string; readonly words: string } {
  const { trace, view, playback } = explorer;
  const { step, cycle } = playback.now.peek();
  const viewer = view.reading.peek() === 'viewer';
  const moment = viewer ? `as the viewer shows step ${thousands(step)}, cycle ${thousands(cycle)}` : `cycle ${thousands(cycle)}`;
  return { title: trace.status.peek()?.name ?? trace.head.peek()?.name ?? '', words: moment };
}

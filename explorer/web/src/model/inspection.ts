import { computed } from '@preact/signals';

import type { Answers } from '../protocol/answers';
import type { Questions } from '../protocol/questions';
import { AnswerFeed } from './answerFeed';
import type { Explorer } from './explorer';
import { momentOf } from './moment';
import type { CycleSpan } from './timeStore';

/** Cycles that sums are made over: the range, or the whole run where there is none. */
export function spanOf(explorer: Explorer): CycleSpan {
  const { time, trace } = explorer;
  return time.range.value ?? { first: trace.firstCycle.value, last: trace.lastCycle.value };
}

const digits = ({ first, last }: CycleSpan) => ({ first: String(first), last: String(last) });

/** What is known of what is selected: its own answers always, sums and measures only while they are shown. */
export class Inspection {
  readonly piece: AnswerFeed<'piece'>;
  readonly event: AnswerFeed<'events'>;
  readonly fires: AnswerFeed<'heat'>;
  readonly sends: AnswerFeed<'heat'>;
  readonly receives: AnswerFeed<'heat'>;
  readonly transmissions: AnswerFeed<'heat'>;
  readonly links: AnswerFeed<'links'>;
  readonly measures: AnswerFeed<'measures'>;

  /** Whether sums are shown: of a cluster, a domain or a rectangle, and of a PE where there is a range. */
  private readonly summed = computed(() => {
    const { selection, time } = this.explorer;
    const selected = selection.selected.value;
    if (selected === undefined || 'record' in selected) {
      return false;
    }
    if ('rect' in selected) {
      return true;
    }
    const { piece } = selected;
    return 'cluster' in piece || 'domain' in piece || ('pe' in piece && time.range.value !== undefined);
  });

  constructor(private readonly explorer: Explorer) {
    const heat = (what: Questions['heat']['what']) =>
      new AnswerFeed(explorer, 'heat', () => this.heatQuestion(what), () => what, 'long');
    this.piece = new AnswerFeed(explorer, 'piece', () => this.pieceQuestion(), (q) => JSON.stringify(q.piece));
    this.event = new AnswerFeed(explorer, 'events', () => this.eventQuestion(), (q) => String(q.from));
    this.fires = heat('fires');
    this.sends = heat('sends');
    this.receives = heat('receives');
    this.transmissions = heat('transmissions');
    this.links = new AnswerFeed(explorer, 'links', () => this.linksQuestion(), () => 'links', 'long');
    this.measures = new AnswerFeed(explorer, 'measures', () => this.measuresQuestion(), () => 'measures', 'long');
  }

  /** The numbers of the piece that is selected, if they are its. */
  readonly shown = computed<Answers['piece']['head'] | undefined>(() => this.piece.fed.value?.answer.head);

  get busy(): boolean {
    return this.feeds.some((feed) => feed.busy);
  }

  get slow(): boolean {
    return this.feeds.some((feed) => feed.slow.value);
  }

  /** The piece or the event itself, which commands need as well. */
  followSelection(): () => void {
    return followAll([this.piece, this.event]);
  }

  /** What the inspector shows besides. */
  follow(): () => void {
    return followAll(this.sums);
  }

  private get sums() {
    return [this.fires, this.sends, this.receives, this.transmissions, this.links, this.measures];
  }

  private get feeds() {
    return [this.piece, this.event, ...this.sums];
  }

  private pieceQuestion(): Questions['piece'] | undefined {
    const { selection, trace, view, playback } = this.explorer;
    const piece = selection.piece.value;
    const shape = trace.shape.value;
    if (piece === undefined || shape === undefined) {
      return undefined;
    }
    return { ...momentOf(view.reading.value, playback.now.value, view.skipTo.value), piece, shape };
  }

  private eventQuestion(): Questions['events'] | undefined {
    const selected = this.explorer.selection.selected.value;
    const shape = this.explorer.trace.shape.value;
    if (selected === undefined || !('record' in selected) || shape === undefined) {
      return undefined;
    }
    const { record } = selected;
    return { filter: { records: [record, record + 1] }, shape, from: record, count: 1, notes: this.explorer.trace.head.value?.attributes.length !== 0 };
  }

  private heatQuestion(what: Questions['heat']['what']): Questions['heat'] | undefined {
    const shape = this.explorer.trace.shape.value;
    const wanted = what === 'transmissions' ? this.ofSwitch : this.summed.value;
    return wanted && shape !== undefined ? { ...digits(spanOf(this.explorer)), shape, what } : undefined;
  }

  private get ofSwitch(): boolean {
    const piece = this.explorer.selection.piece.value;
    return piece !== undefined && 'switch' in piece && this.explorer.time.range.value !== undefined;
  }

  private linksQuestion(): Questions['links'] | undefined {
    const piece = this.explorer.selection.piece.value;
    const shape = this.explorer.trace.shape.value;
    return piece !== undefined && 'link' in piece && shape !== undefined
      ? { ...digits(spanOf(this.explorer)), shape }
      : undefined;
  }

  private measuresQuestion(): Questions['measures'] | undefined {
    const { selection, time, trace } = this.explorer;
    const shape = trace.shape.value;
    return selection.selected.value === undefined && time.range.value !== undefined && shape !== undefined
      ? { ...digits(time.range.value), shape }
      : undefined;
  }
}

function followAll(feeds: readonly { follow(): () => void }[]): () => void {
  const ends = feeds.map((feed) => feed.follow());
  return () => ends.forEach((end) => end());
}

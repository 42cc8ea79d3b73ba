import { signal } from '@preact/signals';

const NOTICED = 6000; // milliseconds

export type Dock = 'inspector' | 'events';
export type Dialog = 'keys' | 'marks' | 'take-away';
export type Width = 'wide' | 'middle' | 'narrow';

/** Which panels and dialogs are open, and how large. Sizes are in rem. */
export class PanelStore {
  readonly dock = signal<Dock | undefined>('inspector');
  readonly dockWidth = signal<number | undefined>(undefined);
  readonly timelineHeight = signal<number | undefined>(undefined);
  readonly dialog = signal<Dialog | undefined>(undefined);
  readonly width = signal<Width>('wide');

  /** What the search box is asked to hold; a new object focuses it, also with an equal text. */
  readonly searchWish = signal<{ readonly text: string } | undefined>(undefined);

  /** The words of the filter of events. */
  readonly filter = signal('');

  /** What the filter of the events is asked to hold. */
  readonly filterWish = signal<{ readonly text: string } | undefined>(undefined);

  /** Said to those who do not see the page. */
  readonly said = signal('');

  /** What was just done, for those who see it; it goes by itself. */
  readonly notice = signal('');
  private timer: ReturnType<typeof setTimeout> | undefined;

  /** Says what was done. */
  tell(text: string): void {
    this.said.value = text;
    this.notice.value = text;
    clearTimeout(this.timer);
    this.timer = setTimeout(() => (this.notice.value = ''), NOTICED);
  }
}

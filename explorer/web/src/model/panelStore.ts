import { signal } from '@preact/signals';

export type Dock = 'inspector' | 'events';
export type Dialog = 'keys' | 'marks' | 'take-away' | 'traces';
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

  /** What the filter of the events is asked to hold. */
  readonly filterWish = signal<{ readonly text: string } | undefined>(undefined);

  /** Said to those who do not see the page. */
  readonly said = signal('');
}

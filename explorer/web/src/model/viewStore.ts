import { computed, signal } from '@preact/signals';

import type { Camera } from '../base/camera';
import type { HeatOf, Reading } from '../protocol/questions';

export type ColourBy = 'thread' | 'kind' | 'heat' | 'nothing';

/**
 * What is shown of causes: the chain that led to what is selected, all that did, all that followed
 * from it, the way of its packet, or the critical path of the run.
 */
export type CausesOf = 'chain' | 'back' | 'forward' | 'packet' | 'critical';

/** How the floorplan is looked at. */
export class ViewStore {
  readonly reading = signal<Reading>('natural');
  readonly skipTo = signal(0n);

  readonly colourBy = signal<ColourBy>('thread');
  readonly heatOf = signal<HeatOf>('fires');

  readonly messages = signal(true);
  readonly switches = signal(true);
  readonly linkLoad = signal(false);
  /** Whether the scale of link load ends at the fullest link, and not at the next ten percent. */
  readonly toFullest = signal(false);
  readonly causes = signal(false);
  readonly causesOf = signal<CausesOf>('chain');

  /** Undefined: all of the array is seen. */
  readonly camera = signal<Camera | undefined>(undefined);

  /** The thread (modulo 6) whose row of the legend is pointed at; the rest is dimmed. */
  readonly litThread = signal<number | undefined>(undefined);

  /** The viewer's six colours and white paper stand for the viewer's reading. */
  readonly asViewer = computed(() => this.reading.value === 'viewer');
}

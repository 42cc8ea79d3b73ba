import { computed, signal } from '@preact/signals';

import { placeText, type Place } from '../base/place';
import type { Shape } from '../base/shape';
import type { TraceHead } from '../protocol/answers';
import type { TraceStatus } from '../protocol/status';

/** The trace that is shown, and what is known about it. */
export class TraceStore {
  readonly all = signal<readonly TraceStatus[]>([]);
  readonly fingerprint = signal('');

  /** Undefined until the engine has told about the trace. */
  readonly head = signal<TraceHead | undefined>(undefined);

  /** Drawn without gaps, as a mesh. */
  readonly flat = signal(false);

  readonly status = computed(() =>
    this.all.value.find((status) => status.fingerprint === this.fingerprint.value),
  );

  private readonly shapeText = computed(() => JSON.stringify(this.head.value?.shape ?? null));

  /** Another object only where it is another shape, however often the trace is told of. */
  readonly shape = computed(() => (JSON.parse(this.shapeText.value) as Shape | null) ?? undefined);

  /** How many are known so far. */
  readonly records = computed(() => this.head.value?.records ?? 0);

  readonly firstCycle = computed(() => BigInt(this.head.value?.firstCycle ?? 0));
  readonly lastCycle = computed(() => BigInt(this.head.value?.lastCycle ?? 0));
  readonly isEmpty = computed(() => this.head.value?.records === 0);

  /** Whether the companion tells kinds of events. */
  readonly hasKinds = computed(
    () => this.head.value?.attributes.some(({ name }) => name === 'kind') === true,
  );

  private readonly names = computed(
    () =>
      new Map(this.head.value?.about?.places?.map(([column, row, name]) => [`${column},${row}`, name])),
  );

  /** What the companion calls a place. */
  nameOf(place: Place): string | undefined {
    return this.names.value.get(placeText(place));
  }

  /** "thread 2", or what the companion calls it. */
  threadName(thread: number): string {
    return this.head.value?.about?.threads?.[String(thread)]?.name ?? `thread ${thread}`;
  }
}

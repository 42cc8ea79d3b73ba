import { binsOf, bucketsOf, widthOf, type Buckets, type CountData, type StackData } from '../base/stripData';
import type { Answer } from '../protocol/answers';
import type { EventType } from '../protocol/questions';

/** What the activity strips draw. */
export interface Activity {
  readonly buckets: Buckets;
  readonly by: 'thread' | 'type' | 'kind';
  /** Events of each type over time; types that the trace has not are there with zeros. */
  readonly stacks: Readonly<Record<EventType, StackData>>;
  readonly counts: Readonly<Record<EventType, CountData>>;
  /** All types as one stack, a colour each. */
  readonly types: StackData;
  /** Over how many cycles the worst is a mean, at most: 1 where the worst cycles are known. */
  readonly worstCycles: number;
}

const COLOURS = 6;
const REST = 6; // the colour of what belongs to no thread or kind that is told apart

/** The colour of each slot of an answer. */
function coloursOf(head: Answer<'activity'>['head'], slots: number): readonly number[] {
  const known = head.threads ?? head.kinds?.map((_, index) => index) ?? [];
  return Array.from({ length: slots }, (_, slot) => {
    const number = known[slot];
    return number === undefined ? (slots === 1 ? 0 : REST) : number % COLOURS;
  });
}

/** Events a cycle of one type, those of equal colours added up. */
function stackOf(
  answer: Answer<'activity'>,
  buckets: Buckets,
  type: number,
  types: number,
  worst: Float64Array | undefined,
): StackData {
  const bins = binsOf(buckets);
  const { count } = answer.columns;
  const slots = bins === 0 ? 0 : count.length / (types * bins);
  const colours = coloursOf(answer.head, slots);
  const mean = new Float64Array((REST + 1) * bins);
  for (let slot = 0; slot < slots; ++slot) {
    const into = (colours[slot] ?? REST) * bins;
    const from = (slot * types + type) * bins;
    for (let bin = 0; bin < bins; ++bin) {
      mean[into + bin] = (mean[into + bin] ?? 0) + (count[from + bin] ?? 0) / widthOf(buckets, bin);
    }
  }
  return { buckets, slots: REST + 1, mean, worst };
}

/** One number a bucket out of a stack: the worst if it is known, else the sum of all means. */
function countOf(stack: StackData): CountData {
  if (stack.worst !== undefined) {
    return { buckets: stack.buckets, values: stack.worst };
  }
  const bins = binsOf(stack.buckets);
  const values = new Float64Array(bins);
  stack.mean.forEach((value, at) => {
    values[at % bins] = (values[at % bins] ?? 0) + value;
  });
  return { buckets: stack.buckets, values };
}

function typesOf(counts: Readonly<Record<EventType, StackData>>, order: readonly EventType[]): StackData {
  const { buckets } = counts.fire;
  const bins = binsOf(buckets);
  const mean = new Float64Array(order.length * bins);
  order.forEach((type, slot) => {
    counts[type].mean.forEach((value, at) => {
      const into = slot * bins + (at % bins);
      mean[into] = (mean[into] ?? 0) + value;
    });
  });
  return { buckets, slots: order.length, mean, worst: undefined };
}

/** Whether any bucket holds more than one cycle, so that its mean hides something. */
const hides = (buckets: Buckets): boolean =>
  buckets.edges.some((_, bin) => bin + 1 < buckets.edges.length && widthOf(buckets, bin) > 1);

export function activityOf(answer: Answer<'activity'>, by: Activity['by']): Activity {
  const buckets = bucketsOf(answer.columns.first, BigInt(answer.head.last));
  const order = answer.head.types ?? (['switch', 'fire', 'send'] as const);
  const bins = binsOf(buckets);
  const worst = hides(buckets) ? answer.columns.worst : undefined;
  const stacks = Object.fromEntries(
    order.map((type, at) => {
      const most = worst?.subarray(at * bins, (at + 1) * bins);
      return [type, stackOf(answer, buckets, at, order.length, most)];
    }),
  ) as Record<EventType, StackData>;
  const counts = {
    fire: countOf(stacks.fire),
    send: countOf(stacks.send),
    switch: countOf(stacks.switch),
  };
  const worstCycles = Math.max(1, ...(answer.columns.worstCycles ?? []));
  return { buckets, by, stacks, counts, types: typesOf(stacks, ['fire', 'send', 'switch']), worstCycles };
}

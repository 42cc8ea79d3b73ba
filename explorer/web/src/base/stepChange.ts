import type { MessageList, Picture } from './picture';

/** What is another at a moment than at the one before it (or, going back, after it). */
export interface StepChange {
  readonly step: number;
  readonly cycle: bigint;
  readonly last: number;
  readonly element: Uint32Array;
  readonly elementCode: Uint8Array;
  readonly switch: Uint32Array;
  readonly switchCode: Uint8Array;
  /** Records of messages that are no longer to be seen. */
  readonly gone: Float64Array;
  readonly sent: MessageList;
}

/** Columns of many changes, and where those of each end. */
export interface StepColumns {
  readonly step: Float64Array;
  readonly cycle: BigUint64Array;
  readonly last: Float64Array;
  readonly elementEnd: Uint32Array;
  readonly switchEnd: Uint32Array;
  readonly goneEnd: Uint32Array;
  readonly sentEnd: Uint32Array;
  readonly element: Uint32Array;
  readonly elementCode: Uint8Array;
  readonly switch: Uint32Array;
  readonly switchCode: Uint8Array;
  readonly gone: Float64Array;
  readonly sent: Float64Array;
  readonly sentAge: Uint8Array;
  readonly sentThread: Uint32Array;
  readonly sentFrom: Uint32Array;
  readonly sentTo: Uint32Array;
}

/** The part of a list that belongs to the change of this number. */
const partOf = (ends: Uint32Array, number: number): readonly [number, number] => [
  number === 0 ? 0 : (ends[number - 1] ?? 0),
  ends[number] ?? 0,
];

/** Change `number` of an answer; it looks into the answer's columns and copies nothing. */
export function changeAt(columns: StepColumns, number: number): StepChange {
  const elements = partOf(columns.elementEnd, number);
  const switches = partOf(columns.switchEnd, number);
  const gone = partOf(columns.goneEnd, number);
  const [first, end] = partOf(columns.sentEnd, number);
  return {
    step: columns.step[number] ?? 0,
    cycle: columns.cycle[number] ?? 0n,
    last: columns.last[number] ?? 0,
    element: columns.element.subarray(...elements),
    elementCode: columns.elementCode.subarray(...elements),
    switch: columns.switch.subarray(...switches),
    switchCode: columns.switchCode.subarray(...switches),
    gone: columns.gone.subarray(...gone),
    sent: {
      record: columns.sent.subarray(first, end),
      age: columns.sentAge.subarray(first, end),
      thread: columns.sentThread.subarray(first, end),
      from: columns.sentFrom.subarray(2 * first, 2 * end),
      to: columns.sentTo.subarray(2 * first, 2 * end),
    },
  };
}

export function emptyMessages(count = 0): MessageList {
  return {
    record: new Float64Array(count),
    age: new Uint8Array(count),
    thread: new Uint32Array(count),
    from: new Uint32Array(2 * count),
    to: new Uint32Array(2 * count),
  };
}

function copyMessage(from: MessageList, at: number, to: MessageList, into: number, older: number): void {
  to.record[into] = from.record[at] ?? 0;
  to.age[into] = (from.age[at] ?? 0) + older;
  to.thread[into] = from.thread[at] ?? 0;
  for (const [source, target] of [
    [from.from, to.from],
    [from.to, to.to],
  ] as const) {
    target[2 * into] = source[2 * at] ?? 0;
    target[2 * into + 1] = source[2 * at + 1] ?? 0;
  }
}

/** The messages after a change, in order of the trace. Those that stay are `older` steps older. */
function messagesAfter(before: MessageList, change: StepChange, older: number): MessageList {
  const gone = new Set(change.gone);
  const stay: number[] = [];
  before.record.forEach((record, i) => {
    if (!gone.has(record)) {
      stay.push(i);
    }
  });
  const { sent } = change;
  const after = emptyMessages(stay.length + sent.record.length);
  let came = 0;
  let kept = 0;
  for (let into = 0; into < after.record.length; ++into) {
    const staying = before.record[stay[kept] ?? -1] ?? Infinity;
    if ((sent.record[came] ?? Infinity) < staying) {
      copyMessage(sent, came++, after, into, 0);
    } else {
      copyMessage(before, stay[kept++] ?? 0, after, into, older);
    }
  }
  return after;
}

function withCodes(before: Uint8Array, numbers: Uint32Array, codes: Uint8Array): Uint8Array {
  if (numbers.length === 0) {
    return before;
  }
  const after = before.slice();
  numbers.forEach((number, i) => {
    after[number] = codes[i] ?? 0;
  });
  return after;
}

/**
 * The picture after a change. `older` is by how many steps the messages that stay grow older: 1
 * forward, -1 backward.
 */
export function applyChange(before: Picture, change: StepChange, older: 1 | -1): Picture {
  return {
    reading: before.reading,
    step: change.step,
    cycle: change.cycle,
    last: change.last,
    elements: withCodes(before.elements, change.element, change.elementCode),
    switches: withCodes(before.switches, change.switch, change.switchCode),
    messages: messagesAfter(before.messages, change, older),
  };
}

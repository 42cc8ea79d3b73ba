import type { Picture } from '../base/picture';
import type { Answer } from '../protocol/answers';
import type { Reading } from '../protocol/questions';

/** The picture that the engine tells of a moment. */
export function pictureOf(reading: Reading, answer: Answer<'state'>): Picture {
  const { head, columns } = answer;
  return {
    reading,
    step: head.step,
    cycle: BigInt(head.cycle),
    last: head.last,
    elements: columns.elements,
    switches: columns.switches,
    messages: {
      record: columns.record,
      age: columns.age,
      thread: columns.thread,
      from: columns.from,
      to: columns.to,
    },
  };
}

import { PROTOCOL, readAnswer } from '../protocol/answer';
import type { Answer } from '../protocol/answers';
import { NEEDED_COLUMNS } from '../protocol/columns';
import { AskError } from '../protocol/fault';
import type { Ask, Questions } from '../protocol/questions';

/** The text of a question. Equal questions have equal texts. */
export const questionText = <Name extends Ask>(
  trace: string,
  ask: Name,
  question: Questions[Name],
): string => JSON.stringify({ protocol: PROTOCOL, trace, ask, ...question });

/** Reads the answer to a question of this name; throws an AskError if it is none or tells one. */
export function typedAnswer<Name extends Ask>(ask: Name, bytes: ArrayBuffer): Answer<Name> {
  const answer = readAnswer(bytes);
  for (const [name, type] of Object.entries(NEEDED_COLUMNS[ask] ?? {})) {
    if (answer.columns[name]?.constructor !== type) {
      throw new AskError({ code: 'bad-answer', message: `the answer to ${ask} lacks ${name}` });
    }
  }
  return answer as unknown as Answer<Name>;
}

/** What a question can fail with. The page decides by the code; the rest is for people. */
export const CODES = [
  'bad-question',
  'too-large',
  'no-such-trace',
  'changed',
  'not-indexed-yet',
  'out-of-range',
  'damaged',
  'unreadable',
  'busy',
  'cancelled',
  'too-much',
  'not-there',
  'internal',
] as const;

/** `lost`: the server did not answer; `bad-answer`: what it sent is no answer. */
export type Code = (typeof CODES)[number] | 'lost' | 'bad-answer';

export interface FaultWords {
  readonly code: Code;
  readonly message: string;
  readonly file?: string | undefined;
  readonly place?: string | undefined;
  readonly remedy?: string | undefined;
}

export class AskError extends Error {
  readonly code: Code;
  readonly file: string | undefined;
  readonly place: string | undefined;
  readonly remedy: string | undefined;

  constructor(words: FaultWords) {
    super(words.message);
    this.name = 'AskError';
    this.code = words.code;
    this.file = words.file;
    this.place = words.place;
    this.remedy = words.remedy;
  }
}

/** That nobody waits for the answer any more is no failure. */
export const isCancelled = (error: unknown): boolean =>
  error instanceof AskError && error.code === 'cancelled';

const text = (value: unknown): string | undefined => (typeof value === 'string' ? value : undefined);

/** The error that the head of an answer tells, if it tells one. */
export function faultOfHead(head: Record<string, unknown>): AskError | undefined {
  const error = head['error'];
  if (typeof error !== 'object' || error === null) {
    return undefined;
  }
  const words = error as Record<string, unknown>;
  const code = CODES.find((known) => known === words['code']) ?? 'bad-answer';
  return new AskError({
    code,
    message: text(words['message']) ?? 'the question was refused without a reason',
    file: text(words['file']),
    place: text(words['place']),
    remedy: text(words['remedy']),
  });
}

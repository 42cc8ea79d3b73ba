// A message of the socket: the number of the question, a zero, then the question or the answer.

const FRONT = 8;

/** The message of a question; an empty text asks to forget the question of that number. */
export function frameOf(number: number, question: string): ArrayBuffer {
  const text = new TextEncoder().encode(question);
  const bytes = new ArrayBuffer(FRONT + text.byteLength);
  new DataView(bytes).setUint32(0, number, true);
  new Uint8Array(bytes).set(text, FRONT);
  return bytes;
}

export interface Framed {
  readonly number: number;
  readonly answer: ArrayBuffer;
}

export function readFrame(bytes: ArrayBuffer): Framed | undefined {
  if (bytes.byteLength < FRONT) {
    return undefined;
  }
  return { number: new DataView(bytes).getUint32(0, true), answer: bytes.slice(FRONT) };
}

import { AskError, faultOfHead } from './fault';

export type Column =
  | Uint8Array
  | Uint16Array
  | Uint32Array
  | BigUint64Array
  | Int32Array
  | Float32Array
  | Float64Array;

export interface RawAnswer {
  readonly head: Record<string, unknown>;
  readonly columns: Record<string, Column>;
}

export const PROTOCOL = 1;

const MAGIC = 0x4145464d; // "MFEA"
const FRONT = 16;
const ENTRY = 16;

type Make = (buffer: ArrayBuffer, at: number, count: number) => Column;

const TYPES: Record<number, { size: number; make: Make }> = {
  1: { size: 1, make: (b, at, n) => new Uint8Array(b, at, n) },
  2: { size: 2, make: (b, at, n) => new Uint16Array(b, at, n) },
  3: { size: 4, make: (b, at, n) => new Uint32Array(b, at, n) },
  4: { size: 8, make: (b, at, n) => new BigUint64Array(b, at, n) },
  5: { size: 4, make: (b, at, n) => new Int32Array(b, at, n) },
  6: { size: 4, make: (b, at, n) => new Float32Array(b, at, n) },
  7: { size: 8, make: (b, at, n) => new Float64Array(b, at, n) },
};

const bad = (message: string): AskError => new AskError({ code: 'bad-answer', message });

const padded = (length: number): number => Math.ceil(length / 8) * 8;

interface Entry {
  readonly size: number;
  readonly make: Make;
  readonly count: number;
}

function entriesOf(view: DataView, count: number): Entry[] {
  const entries: Entry[] = [];
  for (let i = 0; i < count; ++i) {
    const at = FRONT + ENTRY * i;
    const type = TYPES[view.getUint32(at, true)];
    const rows = Number(view.getBigUint64(at + 8, true));
    if (type === undefined || rows > view.byteLength) {
      throw bad('an answer has a column that nobody knows');
    }
    entries.push({ ...type, count: rows });
  }
  return entries;
}

function headOf(bytes: ArrayBuffer, at: number, length: number): Record<string, unknown> {
  try {
    const head: unknown = JSON.parse(new TextDecoder().decode(new Uint8Array(bytes, at, length)));
    if (typeof head === 'object' && head !== null) {
      return head as Record<string, unknown>;
    }
  } catch {
    // Told below, as every other head that is none.
  }
  throw bad('an answer has no head');
}

function namesOf(head: Record<string, unknown>, count: number): string[] {
  const names = head['columns'] ?? [];
  if (!Array.isArray(names) || names.length !== count) {
    throw bad('an answer does not name its columns');
  }
  return names.map(String);
}

function columnsOf(bytes: ArrayBuffer, from: number, entries: Entry[], names: string[]) {
  const columns: Record<string, Column> = {};
  let at = from;
  entries.forEach((entry, i) => {
    const length = entry.size * entry.count;
    if (at + length > bytes.byteLength) {
      throw bad('an answer ends too early');
    }
    columns[names[i] ?? ''] = entry.make(bytes, at, entry.count);
    at = padded(at + length);
  });
  return columns;
}

/** Reads an answer; throws the AskError that it tells, or `bad-answer` if it is none. */
export function readAnswer(bytes: ArrayBuffer): RawAnswer {
  const view = new DataView(bytes);
  if (bytes.byteLength < FRONT || view.getUint32(0, true) !== MAGIC) {
    throw bad('what came is no answer');
  }
  if (view.getUint32(4, true) !== PROTOCOL) {
    throw bad('the answer is of another protocol');
  }
  const length = view.getUint32(8, true);
  const count = view.getUint32(12, true);
  const headAt = FRONT + ENTRY * count;
  if (headAt + length > bytes.byteLength) {
    throw bad('an answer ends too early');
  }
  const head = headOf(bytes, headAt, length);
  const fault = faultOfHead(head);
  if (fault !== undefined) {
    throw fault;
  }
  const names = namesOf(head, count);
  return { head, columns: columnsOf(bytes, padded(headAt + length), entriesOf(view, count), names) };
}

/** The bytes of an answer, as a server makes them: for tests and for fixtures. */
export function writeAnswer(head: Record<string, unknown>, columns: Record<string, Column>): ArrayBuffer {
  const names = Object.keys(columns);
  const text = new TextEncoder().encode(JSON.stringify({ ...head, columns: names }));
  const headAt = FRONT + ENTRY * names.length;
  const length = names.reduce(
    (at, name) => at + padded(columns[name]?.byteLength ?? 0),
    padded(headAt + text.byteLength),
  );
  const bytes = new ArrayBuffer(length);
  const view = new DataView(bytes);
  [MAGIC, PROTOCOL, text.byteLength, names.length].forEach((word, i) => view.setUint32(4 * i, word, true));
  new Uint8Array(bytes).set(text, headAt);
  let at = padded(headAt + text.byteLength);
  names.forEach((name, i) => {
    const column = columns[name] ?? new Uint8Array();
    view.setUint32(FRONT + ENTRY * i, typeOf(column), true);
    view.setBigUint64(FRONT + ENTRY * i + 8, BigInt(column.length), true);
    new Uint8Array(bytes).set(new Uint8Array(column.buffer, column.byteOffset, column.byteLength), at);
    at = padded(at + column.byteLength);
  });
  return bytes;
}

function typeOf(column: Column): number {
  const made = [Uint8Array, Uint16Array, Uint32Array, BigUint64Array, Int32Array, Float32Array, Float64Array];
  return made.findIndex((type) => column instanceof type) + 1;
}

import { signal } from '@preact/signals';

import type { Answer } from '../protocol/answers';
import { AskError } from '../protocol/fault';
import { frameOf, readFrame } from '../protocol/frame';
import type { Ask, Questions } from '../protocol/questions';
import { readNews, type News, type Status } from '../protocol/status';
import type { Asked, AskOptions, Connection, Engine } from './engine';
import { questionText, typedAnswer } from './typed';

const MOST_IN_WORK = 4;
const MOST_LOGGED = 200;
const FIRST_PAUSE = 500; // milliseconds before a lost server is tried again; doubled each time
const LONGEST_PAUSE = 8000;

interface Pending {
  readonly ask: Ask;
  readonly text: string;
  readonly resolve: (bytes: ArrayBuffer) => void;
  readonly reject: (error: AskError) => void;
  sent: number | undefined;
}

const cancelled = () => new AskError({ code: 'cancelled', message: 'nobody waits for it' });
const lost = () => new AskError({ code: 'lost', message: 'the server does not answer' });

/**
 * Questions over one WebSocket: at most four in work, the rest waits here. When the connection is
 * lost, questions in work fail with `lost`, and the server is tried again, ever less often.
 */
export class SocketEngine implements Engine {
  readonly connection = signal<Connection>({ state: 'connecting' });
  readonly inFlight = signal(0);
  readonly log: Asked[] = [];

  private socket: WebSocket | undefined;
  private readonly pending = new Map<number, Pending>();
  private readonly listeners = new Set<(news: News) => void>();
  private lastNumber = 0;
  private pause = FIRST_PAUSE;
  private timer: ReturnType<typeof setTimeout> | undefined;

  /** `address` is that of the page, with a slash at its end. */
  constructor(private readonly address: string) {
    this.connect();
  }

  async status(): Promise<Status> {
    let reply: Response;
    try {
      reply = await fetch(new URL('api/status', this.address), { cache: 'no-store' });
    } catch {
      throw lost();
    }
    if (!reply.ok) {
      throw new AskError({ code: 'unreadable', message: `the server answers ${reply.status}` });
    }
    return (await reply.json()) as Status;
  }

  async ask<Name extends Ask>(
    trace: string,
    name: Name,
    question: Questions[Name],
    options?: AskOptions,
  ): Promise<Answer<Name>> {
    const begun = performance.now();
    let bytes = 0;
    let code: string | undefined;
    try {
      const answer = await this.send(name, questionText(trace, name, question), options?.signal);
      bytes = answer.byteLength;
      return typedAnswer(name, answer);
    } catch (error) {
      code = error instanceof AskError ? error.code : 'bad-answer';
      throw error;
    } finally {
      this.note({ ask: name, milliseconds: performance.now() - begun, bytes, code });
    }
  }

  onNews(listener: (news: News) => void): () => void {
    this.listeners.add(listener);
    return () => this.listeners.delete(listener);
  }

  retry(): void {
    if (this.connection.value.state === 'lost') {
      this.pause = FIRST_PAUSE;
      this.connect();
    }
  }

  private note(asked: Asked): void {
    this.log.push(asked);
    if (this.log.length > MOST_LOGGED) {
      this.log.shift();
    }
  }

  private send(ask: Ask, text: string, stop: AbortSignal | undefined): Promise<ArrayBuffer> {
    if (stop?.aborted === true) {
      return Promise.reject(cancelled());
    }
    if (this.connection.value.state === 'lost') {
      return Promise.reject(lost());
    }
    const number = (this.lastNumber = (this.lastNumber % 0xffffffff) + 1);
    return new Promise((resolve, reject) => {
      this.pending.set(number, { ask, text, resolve, reject, sent: undefined });
      stop?.addEventListener('abort', () => this.forget(number), { once: true });
      this.pump();
    });
  }

  /** Sends what waits while there is room. */
  private pump(): void {
    this.inFlight.value = this.pending.size;
    if (this.socket?.readyState !== WebSocket.OPEN) {
      return;
    }
    let working = 0;
    for (const [number, question] of this.pending) {
      working += 1;
      if (working > MOST_IN_WORK) {
        return;
      }
      if (question.sent === undefined) {
        question.sent = performance.now();
        this.socket.send(frameOf(number, question.text));
      }
    }
  }

  private forget(number: number): void {
    const question = this.pending.get(number);
    if (question === undefined) {
      return;
    }
    this.pending.delete(number);
    if (question.sent !== undefined && this.socket?.readyState === WebSocket.OPEN) {
      this.socket.send(frameOf(number, ''));
    }
    question.reject(cancelled());
    this.pump();
  }

  private connect(): void {
    clearTimeout(this.timer);
    const address = new URL('api/socket', this.address);
    address.protocol = address.protocol === 'https:' ? 'wss:' : 'ws:';
    const socket = new WebSocket(address);
    socket.binaryType = 'arraybuffer';
    socket.onopen = () => {
      this.pause = FIRST_PAUSE;
      this.connection.value = { state: 'connected' };
      this.pump();
    };
    socket.onmessage = (message) => this.receive(message.data);
    socket.onclose = () => this.lose(socket);
    this.socket = socket;
  }

  private receive(data: unknown): void {
    if (typeof data === 'string') {
      const news = readNews(data);
      if (news !== undefined) {
        this.listeners.forEach((listener) => listener(news));
      }
      return;
    }
    const frame = data instanceof ArrayBuffer ? readFrame(data) : undefined;
    const question = frame && this.pending.get(frame.number);
    if (frame !== undefined && question !== undefined) {
      this.pending.delete(frame.number);
      question.resolve(frame.answer);
      this.pump();
    }
  }

  private lose(socket: WebSocket): void {
    if (socket !== this.socket) {
      return;
    }
    const before = this.connection.value;
    const now = Date.now();
    const since = before.state === 'lost' ? before.since : now;
    this.connection.value = { state: 'lost', since, nextTry: now + this.pause };
    const questions = [...this.pending.values()];
    this.pending.clear();
    questions.forEach((question) => question.reject(lost()));
    this.inFlight.value = 0;
    this.timer = setTimeout(() => this.connect(), this.pause);
    this.pause = Math.min(LONGEST_PAUSE, 2 * this.pause);
  }
}

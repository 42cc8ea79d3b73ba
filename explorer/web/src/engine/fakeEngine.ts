import { signal } from '@preact/signals';

import { writeAnswer, type Column } from '../protocol/answer';
import type { Answer } from '../protocol/answers';
import { AskError } from '../protocol/fault';
import type { Ask, Questions } from '../protocol/questions';
import type { News, Status } from '../protocol/status';
import type { Asked, AskOptions, Connection, Engine } from './engine';
import { typedAnswer } from './typed';

export interface FakeAnswer {
  readonly head?: object;
  readonly columns?: Record<string, Column>;
}

/** What answers a question: at once, later, or by throwing an AskError. */
export type Answering = {
  [Name in Ask]?: (question: Questions[Name], trace: string) => FakeAnswer | Promise<FakeAnswer>;
};

const READY: Status = {
  protocol: 1,
  build: 'fake',
  restart: { command: 'marrowfin-explorer fake.trace --port 8120', sameLink: true },
  traces: [
    {
      fingerprint: 'fake',
      name: 'fake.trace',
      bytes: 0,
      records: 0,
      indexed: null,
      state: 'ready',
      end: null,
      changed: false,
    },
  ],
};

/** An engine without a server: fixtures answer, by way of the bytes that a server would send. */
export class FakeEngine implements Engine {
  readonly connection = signal<Connection>({ state: 'connected' });
  readonly inFlight = signal(0);
  readonly log: Asked[] = [];
  readonly asked: { ask: Ask; question: unknown }[] = [];
  retries = 0;
  private readonly listeners = new Set<(news: News) => void>();

  constructor(
    private readonly answering: Answering,
    public readyStatus: Status = READY,
  ) {}

  status(): Promise<Status> {
    return Promise.resolve(this.readyStatus);
  }

  async ask<Name extends Ask>(
    trace: string,
    name: Name,
    question: Questions[Name],
    options?: AskOptions,
  ): Promise<Answer<Name>> {
    this.asked.push({ ask: name, question });
    this.inFlight.value += 1;
    try {
      const answering = this.answering[name];
      if (answering === undefined) {
        throw new AskError({ code: 'not-there', message: `nothing answers ${name}` });
      }
      const answer = await answering(question, trace);
      if (options?.signal?.aborted === true) {
        throw new AskError({ code: 'cancelled', message: 'nobody waits' });
      }
      return typedAnswer(name, writeAnswer({ ...answer.head }, answer.columns ?? {}));
    } finally {
      this.inFlight.value -= 1;
    }
  }

  onNews(listener: (news: News) => void): () => void {
    this.listeners.add(listener);
    return () => this.listeners.delete(listener);
  }

  tell(news: News): void {
    this.listeners.forEach((listener) => listener(news));
  }

  retry(): void {
    this.retries += 1;
  }
}

import { AskError, type Code } from '../protocol/fault';

/** A mark as it stands beside a trace. */
export interface SentMark {
  readonly name: string;
  readonly cycle: string;
  readonly piece?: object;
}

export interface KeptMarks {
  /** Another one for other marks; empty where none are kept. */
  readonly state: string;
  readonly marks: readonly SentMark[];
}

export interface Taken {
  readonly name: string;
  readonly bytes: Blob;
}

const CODES: Readonly<Record<number, Code>> = { 404: 'changed', 409: 'changed', 503: 'busy' };

/**
 * What the server gives besides answers to questions: things to take away, the command lines that
 * make them, and the marks beside a trace. Whatever fails, fails with an AskError in the server's
 * words.
 */
export class Site {
  /** `address` is that of the page, with a slash at its end. */
  constructor(
    private readonly address: string,
    private readonly get: typeof fetch = (...words) => fetch(...words),
  ) {}

  /** Where a thing is got; a browser that follows it saves a file. */
  takeAddress(trace: string, query: string): string {
    return new URL(`api/take?trace=${trace}&${query}`, this.address).href;
  }

  /** The command line that makes it, where the trace lies. */
  async command(trace: string, query: string): Promise<string> {
    return (await (await this.ask(this.takeAddress(trace, `${query}&as=command`))).text()).trimEnd();
  }

  async take(trace: string, query: string, signal?: AbortSignal): Promise<Taken> {
    const reply = await this.ask(this.takeAddress(trace, query), signal === undefined ? {} : { signal });
    const name = /filename="([^"]+)"/.exec(reply.headers.get('Content-Disposition') ?? '')?.[1];
    return { name: name ?? 'trace', bytes: await reply.blob() };
  }

  async marks(trace: string): Promise<KeptMarks> {
    return (await (await this.ask(this.marksAddress(trace))).json()) as KeptMarks;
  }

  /** Keeps marks instead of those of the state `over`; fails with `changed` where others are there. */
  async saveMarks(trace: string, over: string, marks: readonly SentMark[]): Promise<KeptMarks> {
    const reply = await this.ask(this.marksAddress(trace), {
      method: 'POST',
      headers: { 'Content-Type': 'application/json' },
      body: JSON.stringify({ over, marks }),
    });
    return (await reply.json()) as KeptMarks;
  }

  private marksAddress(trace: string): string {
    return new URL(`api/marks?trace=${trace}`, this.address).href;
  }

  private async ask(address: string, options: RequestInit = {}): Promise<Response> {
    let reply: Response;
    try {
      reply = await this.get(address, { cache: 'no-store', ...options });
    } catch {
      const gone = options.signal?.aborted === true;
      throw new AskError({ code: gone ? 'cancelled' : 'lost', message: gone ? 'nobody waits for it' : 'the server does not answer' });
    }
    if (!reply.ok) {
      throw new AskError({ code: CODES[reply.status] ?? 'unreadable', message: (await reply.text()).trim() });
    }
    return reply;
  }
}

import type { FaultOfTrace } from './answers';

export interface TraceStatus {
  readonly fingerprint: string;
  /** What the trace of this file was known by before it was replaced. */
  readonly was?: readonly string[];
  readonly name: string;
  readonly bytes: number;
  readonly records: number;
  readonly indexed: { readonly done: number; readonly all: number } | null;
  readonly state: 'indexing' | 'ready' | 'failed';
  readonly end: FaultOfTrace | null;
  readonly changed: boolean;
}

export interface Status {
  readonly protocol: number;
  readonly build: string;
  /** The command line that starts the server again, and whether its links stay right then. */
  readonly restart: { readonly command: string; readonly sameLink: boolean };
  readonly traces: readonly TraceStatus[];
}

/** What the server tells without being asked. */
export type News =
  | { readonly news: 'index'; readonly trace: string; readonly done: number; readonly all: number }
  | { readonly news: 'indexed' | 'failed' | 'notes'; readonly trace: string }
  | { readonly news: 'changed' | 'grown' | 'truncated'; readonly trace: string; readonly records?: number };

export function readNews(text: string): News | undefined {
  try {
    const news: unknown = JSON.parse(text);
    const kind = (news as { news?: unknown } | null)?.news;
    const known = ['index', 'indexed', 'failed', 'notes', 'changed', 'grown', 'truncated'];
    return known.includes(kind as string) ? (news as News) : undefined;
  } catch {
    return undefined;
  }
}

import type { CommandId } from './ids';
import { KEYS, type Key } from './keys';

export type Group =
  | 'Time'
  | 'Timeline'
  | 'Find'
  | 'Floorplan'
  | 'Layers'
  | 'Selection'
  | 'Marks'
  | 'Share and take away'
  | 'Page';

export interface Command {
  readonly id: CommandId;
  readonly group: Group;
  readonly name: string;
  /** Name of the icon that stands before it in the list of commands. */
  readonly icon?: string;
  /** Whether it can do anything now; a command that cannot is not offered. */
  readonly can?: () => boolean;
  readonly run: () => void;
}

/** The commands of the page, by which keys, buttons, the palette and the list of keys work. */
export class Registry {
  private readonly commands = new Map<CommandId, Command>();

  add(commands: readonly Command[]): void {
    for (const command of commands) {
      if (this.commands.has(command.id)) {
        throw new Error(`two commands are called ${command.id}`);
      }
      this.commands.set(command.id, command);
    }
  }

  all(): readonly Command[] {
    return [...this.commands.values()];
  }

  find(id: CommandId): Command | undefined {
    return this.commands.get(id);
  }

  canRun(id: CommandId): boolean {
    const command = this.commands.get(id);
    return command !== undefined && (command.can?.() ?? true);
  }

  /** Runs a command that there is and that can do something; tells whether it did. */
  run(id: CommandId): boolean {
    if (!this.canRun(id)) {
      return false;
    }
    this.commands.get(id)?.run();
    return true;
  }

  /** The keys of a command, as parts to draw: [["Ctrl", "Shift", "P"], ["F1"]]. */
  keysOf(id: CommandId): readonly (readonly string[])[] {
    return Object.entries(KEYS)
      .filter(([, command]) => command === id)
      .map(([key]) => keyParts(key));
  }

  commandOf(key: string): CommandId | undefined {
    return (KEYS as Partial<Record<string, CommandId>>)[key as Key];
  }
}

const SHOWN: Readonly<Record<string, string>> = {
  ArrowLeft: '←',
  ArrowRight: '→',
  Escape: 'Esc',
  '-': '−',
};

/** The parts of a key as they are drawn. */
export function keyParts(key: string): readonly string[] {
  const parts = key === '+' ? ['+'] : key.split('+');
  return parts.map((part) => SHOWN[part] ?? part);
}

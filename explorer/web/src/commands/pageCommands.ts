import type { Explorer } from '../model/explorer';
import type { Command } from './registry';

/** What a command line can stand for. */
export type Told = 'view' | 'range' | 'selection' | 'events';

/** What puts something on the clipboard: the address of the view, and command lines. */
export interface Sharing {
  copyLink(): void;
  copyCommand(of: Told): void;
}

/** What is selected, what is taken along, and the page itself. */
export function pageCommands(explorer: Explorer, sharing: Sharing): readonly Command[] {
  const { selection, panels, settings, time } = explorer;
  const group = 'Share and take away';
  const can = () => explorer.trace.head.peek() !== undefined;
  const copy = (of: Told) => () => sharing.copyCommand(of);
  return [
    {
      id: 'select.nothing',
      group: 'Selection',
      name: 'Deselect, close',
      icon: 'close',
      run: () => {
        if (panels.dialog.peek() !== undefined) {
          panels.dialog.value = undefined;
        } else {
          selection.clear();
          time.found.value = undefined;
        }
      },
    },
    {
      id: 'share.link',
      group,
      name: 'Copy link to this view',
      icon: 'link',
      run: () => sharing.copyLink(),
    },
    { id: 'share.takeAway', group, name: 'Take away', icon: 'out', can, run: () => (panels.dialog.value = 'take-away') },
    { id: 'share.viewCommand', group, name: 'Copy the view as command line', icon: 'terminal', can, run: copy('view') },
    {
      id: 'share.rangeCommand',
      group,
      name: 'Copy the numbers of the range as command line',
      icon: 'terminal',
      can,
      run: copy('range'),
    },
    {
      id: 'share.selectionCommand',
      group,
      name: 'Copy the selected as command line',
      icon: 'terminal',
      can: () => selection.selected.peek() !== undefined,
      run: copy('selection'),
    },
    {
      id: 'share.eventsCommand',
      group,
      name: 'Copy the listed events as command line',
      icon: 'terminal',
      can,
      run: copy('events'),
    },
    { id: 'page.theme', group: 'Page', name: 'Light or dark', icon: 'sun', run: () => settings.toggleTheme() },
  ];
}

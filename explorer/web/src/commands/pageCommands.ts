import type { Explorer } from '../model/explorer';
import type { Command } from './registry';

/** What is selected, and the page itself. `copyLink` puts the address of the view on the clipboard. */
export function pageCommands(explorer: Explorer, copyLink: () => void): readonly Command[] {
  const { selection, panels, settings } = explorer;
  return [
    {
      id: 'select.nothing',
      group: 'Selection',
      name: 'Deselect, close',
      icon: 'close',
      run: () => (panels.dialog.peek() === undefined ? selection.clear() : (panels.dialog.value = undefined)),
    },
    {
      id: 'share.link',
      group: 'Share and take away',
      name: 'Copy link to this view',
      icon: 'link',
      run: copyLink,
    },
    { id: 'page.theme', group: 'Page', name: 'Light or dark', icon: 'sun', run: () => settings.toggleTheme() },
  ];
}

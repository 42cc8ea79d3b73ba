import type { Explorer } from '../model/explorer';
import type { Command } from './registry';

/** What finds places, moments, events and commands. */
export function findCommands(explorer: Explorer): readonly Command[] {
  const { panels } = explorer;
  const search = (text: string) => () => (panels.searchWish.value = { text });
  const group = 'Find';
  return [
    { id: 'find.search', group, name: 'Search', icon: 'search', run: search('') },
    { id: 'find.commands', group, name: 'Commands', icon: 'terminal', run: search('>') },
    {
      id: 'find.events',
      group,
      name: 'Events',
      icon: 'index',
      run: () => (panels.dock.value = panels.dock.peek() === 'events' ? undefined : 'events'),
    },
    { id: 'find.keys', group, name: 'All keys', icon: 'help', run: () => (panels.dialog.value = 'keys') },
    {
      id: 'time.goTo',
      group: 'Time',
      name: 'Go to step or cycle',
      icon: 'search',
      run: () =>
        (panels.searchWish.value = { text: explorer.view.reading.peek() === 'viewer' ? 'step ' : 'cycle ' }),
    },
  ];
}

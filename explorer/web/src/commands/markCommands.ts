import type { Explorer } from '../model/explorer';
import type { Mark } from '../model/markStore';
import type { Command } from './registry';

/** The mark that `M` sets anew each time; kept ones have other names. */
const PASSING = 'mark';

/** Marks of the moment that is shown, with what is selected there. */
export function markCommands(explorer: Explorer): readonly Command[] {
  const { marks, playback, selection, panels } = explorer;
  const group = 'Marks';
  const can = () => explorer.trace.head.peek() !== undefined;
  const here = (name: string): Mark => {
    const piece = selection.piece.peek();
    return { name, cycle: playback.now.peek().cycle, ...(piece === undefined ? {} : { piece }) };
  };
  const atPlayhead = () => marks.marks.peek().find((mark) => mark.cycle === playback.now.peek().cycle);
  return [
    { id: 'mark.add', group, name: 'Mark this moment', icon: 'mark', can, run: () => marks.add(here(PASSING)) },
    {
      id: 'mark.keep',
      group,
      name: 'Mark this moment and keep it',
      icon: 'mark',
      can,
      run: () => marks.add(here(marks.freshName())),
    },
    {
      id: 'mark.remove',
      group,
      name: 'Remove the mark of this moment',
      icon: 'close',
      can: () => atPlayhead() !== undefined,
      run: () => {
        const mark = atPlayhead();
        if (mark !== undefined) {
          marks.remove(mark.name);
        }
      },
    },
    { id: 'mark.list', group, name: 'Marks', icon: 'mark', can, run: () => (panels.dialog.value = 'marks') },
  ];
}

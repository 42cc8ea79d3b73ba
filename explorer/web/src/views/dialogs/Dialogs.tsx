import { usePage } from '../context';
import { Omnibox } from '../omnibox/Omnibox';
import { KeysDialog } from './KeysDialog';
import { MarksDialog } from './MarksDialog';
import { later } from '../../widgets/later';
import './dialogs.css';

const TakeAway = later(async () => (await import('../takeAway/TakeAwayDialog')).TakeAwayDialog);

/** The dialog that is open; closed ones have no elements. */
export function Dialogs() {
  const { panels } = usePage().explorer;
  const wish = panels.searchWish.value;
  const open = panels.dialog.value;
  const close = () => {
    panels.dialog.value = undefined;
    panels.searchWish.value = undefined;
  };
  if (wish !== undefined) {
    return <Omnibox key="omnibox" wish={wish} onClose={close} />;
  }
  if (open === 'keys') {
    return <KeysDialog onClose={close} />;
  }
  if (open === 'take-away') {
    return <TakeAway onClose={close} />;
  }
  return open === 'marks' ? <MarksDialog onClose={close} /> : null;
}

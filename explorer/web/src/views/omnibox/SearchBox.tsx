import { Icon } from '../../widgets/Icon';
import { Keys } from '../../widgets/Keys';
import { usePage } from '../context';
import './searchBox.css';

/** What looks like a field in the top bar; a press opens the box. */
export function SearchBox() {
  const { commands, explorer } = usePage();
  const narrow = explorer.panels.width.value === 'narrow';
  return (
    <button
      type="button"
      class="search-box"
      aria-haspopup="dialog"
      aria-label={narrow ? 'Find or go to' : 'Find a place, cycle or event'}
      onClick={() => commands.run('find.search')}
    >
      <Icon name="search" />
      <span class="middle-only">Find a place, cycle or event</span>
      <span class="narrow-only">Find or go to</span>
      <Keys parts={commands.keysOf('find.search')[0]} />
    </button>
  );
}

import { thousands } from '../../base/words';
import { Button } from '../../widgets/Button';
import { Keys } from '../../widgets/Keys';
import { usePage } from '../context';
import type { FloorplanController } from './controller';

/** What tells more where messages cannot. */
export function Crowded({ controller }: { readonly controller: FloorplanController }) {
  const { explorer, commands } = usePage();
  const count = explorer.playback.picture.value?.messages.record.length ?? 0;
  const instead = () => {
    explorer.view.messages.value = false;
    commands.run('layer.linkLoad');
  };
  return (
    <div class="crowded middle-only">
      <span>
        <strong>{thousands(count)} messages</strong>{' '}
        {controller.seen.value?.level === 'pe' ? 'overlap here.' : 'are too small to show here.'}
      </span>
      <Button label="Show link load" look="outlined" onPress={instead}>
        Show link load
        <Keys parts={commands.keysOf('layer.linkLoad')[0]} />
      </Button>
    </div>
  );
}

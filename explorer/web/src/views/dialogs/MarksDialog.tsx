import { thousands } from '../../base/words';
import type { Mark } from '../../model/markStore';
import { pieceText } from '../../model/selectionStore';
import { Button } from '../../widgets/Button';
import { Dialog } from '../../widgets/Dialog';
import { usePage } from '../context';

function MarkLine({ mark, onGo }: { readonly mark: Mark; readonly onGo: () => void }) {
  const { explorer } = usePage();
  const { marks } = explorer;
  const rename = (event: Event) => {
    const input = event.currentTarget as HTMLInputElement;
    const name = input.value.trim();
    if (name === '' || (name !== mark.name && marks.marks.value.some((other) => other.name === name))) {
      input.value = mark.name;
    } else {
      marks.rename(mark.name, name);
    }
  };
  return (
    <li class="mark-line">
      <input type="text" aria-label="Name of the mark" value={mark.name} maxLength={80} onChange={rename} />
      <span>
        cycle {thousands(mark.cycle)}
        {mark.piece === undefined ? '' : `, ${pieceText(mark.piece)}`}
      </span>
      <Button label={`Go to ${mark.name}`} icon="focus" onPress={onGo} />
      <Button label={`Remove ${mark.name}`} icon="close" onPress={() => marks.remove(mark.name)} />
    </li>
  );
}

/** The marks: names to change, to go to, and to remove. They are part of the link. */
export function MarksDialog({ onClose }: { readonly onClose: () => void }) {
  const { explorer, commands, travel, kept } = usePage();
  const { marks, selection } = explorer;
  const go = (mark: Mark) => {
    if (mark.piece !== undefined) {
      selection.selectPiece(mark.piece);
    }
    void travel.goToCycle(mark.cycle);
    onClose();
  };
  const list = marks.marks.value;
  const now = thousands(explorer.playback.now.value.cycle);
  return (
    <Dialog label="Marks" title="Marks" onClose={onClose}>
      <div class="marks-page">
        {list.length === 0 ? (
          <p>No moment is marked yet. A mark has a name and holds the cycle and what is selected.</p>
        ) : (
          <ul>
            {list.map((mark) => (
              <MarkLine key={mark.name} mark={mark} onGo={() => go(mark)} />
            ))}
          </ul>
        )}
        <div class="marks-foot">
          <Button label={`Mark cycle ${now}`} icon="mark" look="outlined" onPress={() => commands.run('mark.keep')}>
            Mark cycle {now}
          </Button>
          <Button
            label="Save beside the trace"
            icon="out"
            look="outlined"
            disabled={kept.busy.value || !marks.isUnsaved.value}
            onPress={() => void kept.save()}
          >
            Save beside the trace
          </Button>
        </div>
        <p class="marks-note" role="status">
          {kept.trouble.value !== ''
            ? kept.trouble.value
            : marks.isUnsaved.value || list.length === 0
              ? 'Marks are part of the link. Saved beside the trace, others find them there too.'
              : 'These marks are saved beside the trace. They are part of the link as well.'}
        </p>
      </div>
    </Dialog>
  );
}

import type { PlacePair } from '../../base/place';
import { thousands } from '../../base/words';
import { touchedText } from '../../model/hover';
import { noteText } from '../../model/noteWords';
import type { Answers, Neighbour, Touched } from '../../protocol/answers';
import type { Piece } from '../../protocol/questions';
import { usePage } from '../context';
import { Around } from './Around';
import { LinkSection } from './LinkSection';
import { Chip, Head, NumberRow, PieceRow, Section } from './parts';
import { UnitSections } from './UnitSections';
import { rangeNumbers } from './rangeNumbers';
import { nameBehind, onPicture, pathOf, rounded, titleOf } from './words';

type PieceHead = Answers['piece']['head'];

function Notes({ touched }: { readonly touched: Touched }) {
  const notes = Object.entries(touched.notes ?? {}).filter(([name]) => name !== 'kind' || touched.kind === undefined);
  return (
    <>
      {touched.kind === undefined ? null : (
        <div>
          <dt>Kind</dt>
          <dd>{touched.kind}</dd>
        </div>
      )}
      {notes.map(([name, value]) => (
        <div key={name}>
          <dt>{name}</dt>
          <dd>{noteText(value)}</dd>
        </div>
      ))}
    </>
  );
}

/** What the picture shows of it, and why. */
function Shows({ head, piece }: { readonly head: PieceHead; readonly piece: Piece }) {
  const { explorer } = usePage();
  const { touched } = head;
  const [out, into] = 'pe' in piece ? onPicture(explorer, piece.pe) : [0, 0];
  return (
    <dl class="inspector-facts">
      <div>
        <dt>Shows</dt>
        <dd>
          {touched === null ? (
            'no event yet'
          ) : (
            <span class="with-chip">
              <Chip thread={touched.thread} />
              {touchedText(explorer, touched)}
            </span>
          )}
        </dd>
      </div>
      {'pe' in piece ? (
        <div>
          <dt>Messages</dt>
          <dd>
            {out} out, {into} in on the picture
          </dd>
        </div>
      ) : null}
      {touched === null ? null : <Notes touched={touched} />}
    </dl>
  );
}

const OTHERS: Readonly<Record<string, string>> = { pe: 'PE', switch: 'switch', domain: 'domain', cluster: 'cluster' };

/** "13 of 192": what of a number is of the range, where there is one. */
const shareText = (part: number | undefined, whole: number): number | string =>
  part === undefined ? whole : `${thousands(part)} of ${thousands(whole)}`;

/**
 * Numbers of the whole run, and what of them is of the range; the first has a bar whose tick is the
 * average of its like.
 */
function Whole({ head, piece }: { readonly head: PieceHead; readonly piece: Piece }) {
  const { whole } = head;
  const range = rangeNumbers(usePage(), piece);
  const title = range === undefined ? 'Whole run' : 'In the range, of all';
  const { average } = whole;
  if ('link' in piece) {
    return (
      <Section title="Whole run">
        <dl class="numbers">
          <NumberRow name="Messages" value={whole.sends} />
        </dl>
      </Section>
    );
  }
  const isSwitch = 'switch' in piece;
  const [value, usual, name, part] = isSwitch
    ? [whole.transmissions, average.transmissions, 'Transmissions', range?.transmissions]
    : [whole.fires, average.fires, 'Fires', range?.fires];
  const like = OTHERS[Object.keys(piece)[0] ?? ''] ?? 'piece';
  const scale = Math.max(2 * usual, value, 1);
  return (
    <Section title={title} aside={`average ${like}: ${rounded(usual)} ${name.toLowerCase()}`}>
      <dl class="numbers">
        <NumberRow name={name} value={shareText(part, value)} share={value / scale} tick={usual / scale} />
        {isSwitch ? null : <NumberRow name="Sends" value={shareText(range?.sends, whole.sends)} />}
        {isSwitch ? null : <NumberRow name="Receives" value={shareText(range?.receives, whole.receives)} />}
      </dl>
    </Section>
  );
}

/** The units that a piece exchanges messages with are of its own level. */
function likeOf(piece: Piece, place: PlacePair): Piece {
  if ('cluster' in piece) {
    return { cluster: place };
  }
  return 'domain' in piece ? { domain: place } : { pe: place };
}

function Neighbours(props: { readonly piece: Piece; readonly neighbours: readonly Neighbour[] }) {
  const { explorer } = usePage();
  const { neighbours } = props;
  const most = Math.max(1, ...neighbours.map((one) => one.messages));
  return (
    <Section title="Neighbours with traffic" aside="messages">
      <ul class="piece-rows">
        {neighbours.map((one) => (
          <PieceRow
            key={one.direction + String(one.place)}
            before={one.direction}
            name={titleOf(likeOf(props.piece, one.place)) + ('pe' in props.piece ? nameBehind(explorer, one.place) : '')}
            piece={likeOf(props.piece, one.place)}
            share={one.messages / most}
            value={thousands(one.messages)}
          />
        ))}
      </ul>
    </Section>
  );
}

const isLarge = (piece: Piece): boolean => 'cluster' in piece || 'domain' in piece;

/** Everything about one piece of the array. */
export function PieceView({ piece }: { readonly piece: Piece }) {
  const { explorer, inspection } = usePage();
  const shape = explorer.trace.shape.value;
  const head = inspection.shown.value;
  const name = head?.name === undefined || head.name === '' ? '' : ` · ${head.name}`;
  return (
    <>
      <Head
        title={titleOf(piece, explorer.layers.links.answer.value?.head.mesh ?? inspection.links.fed.value?.answer.head.mesh)}
        {...(shape === undefined ? {} : { place: pathOf(shape, piece) + name })}
        pins={true}
        pinned={explorer.time.isPinned({ piece })}
      />
      {head === undefined || isLarge(piece) ? null : <Shows head={head} piece={piece} />}
      {'link' in piece ? <LinkSection link={piece.link} /> : null}
      {isLarge(piece) ? <UnitSections piece={piece} /> : null}
      {head === undefined ? null : <Whole head={head} piece={piece} />}
      {head === undefined ? null : <Around events={head.around} />}
      {head === undefined || head.neighbours.length === 0 ? null : (
        <Neighbours piece={piece} neighbours={head.neighbours} />
      )}
    </>
  );
}

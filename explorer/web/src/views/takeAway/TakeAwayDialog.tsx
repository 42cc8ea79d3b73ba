import { useSignal, type Signal } from '@preact/signals';
import { useEffect, useRef } from 'preact/hooks';

import { viewTake, takeText, type PlotKind } from '../../model/takeAway';
import { isCancelled } from '../../protocol/fault';
import { Button } from '../../widgets/Button';
import { Dialog } from '../../widgets/Dialog';
import { Icon } from '../../widgets/Icon';
import { usePage, type Page } from '../context';
import { copyCommand } from './copyCommand';
import { filmOffer, plainOffers, plotOffer, PLOTS, RATES, type Format, type Offer } from './offers';
import { saveBlob, saveDirectly } from './save';
import { saveView } from './viewPicture';
import './takeAway.css';

/** What is being made, and what became of it. */
interface Work {
  readonly busy: Signal<string>;
  readonly words: Signal<string>;
  run(name: string, make: (stop: AbortSignal) => Promise<string>): void;
  cancel(): void;
}

/** One thing is made at a time; closing the dialog ends it. */
function useWork(page: Page): Work {
  const busy = useSignal('');
  const words = useSignal('');
  const stop = useRef<AbortController>();
  useEffect(() => () => stop.current?.abort(), []);
  const run = (name: string, make: (stop: AbortSignal) => Promise<string>) => {
    const own = new AbortController();
    stop.current = own;
    busy.value = name;
    words.value = '';
    make(own.signal)
      .then((said) => (words.value = said))
      .catch((error: unknown) => {
        words.value = isCancelled(error) ? '' : error instanceof Error ? error.message : String(error);
      })
      .finally(() => {
        busy.value = '';
        page.explorer.panels.said.value = words.peek();
      });
  };
  return { busy, words, run, cancel: () => stop.current?.abort() };
}

async function take(page: Page, format: Format, stop: AbortSignal): Promise<string> {
  const query = await format.query();
  if (format.directly === true) {
    saveDirectly(page, query);
    return 'The browser saves it.';
  }
  const taken = await page.site.take(page.explorer.trace.fingerprint.peek(), takeText(query), stop);
  saveBlob(taken.bytes, taken.name);
  return `${taken.name} is saved.`;
}

/** One line: what it is, what may be chosen, formats to save, the command line to copy. */
function OfferLine(props: { readonly offer: Offer; readonly work: Work; readonly children?: preact.ComponentChildren }) {
  const page = usePage();
  const { offer, work } = props;
  return (
    <li class="take-line">
      <Icon name={offer.icon} />
      <span class="take-name">
        <b>{offer.name}</b>
        <span>{offer.words}</span>
      </span>
      {props.children}
      <span class="take-formats">
        {offer.formats.map((format) => (
          <Button
            key={format.name}
            label={`${offer.name} as ${format.name}`}
            look="outlined"
            disabled={work.busy.value !== ''}
            onPress={() => work.run(`${offer.name} as ${format.name}`, (stop) => take(page, format, stop))}
          >
            {format.name}
          </Button>
        ))}
        <Button
          label={`${offer.name}: copy as command`}
          icon="terminal"
          onPress={() => void Promise.resolve(offer.command()).then((query) => copyCommand(page, query))}
        />
      </span>
    </li>
  );
}

function Choice<Value extends string | number>(props: {
  readonly label: string;
  readonly value: Value;
  readonly options: readonly { readonly value: Value; readonly name: string }[];
  readonly onChoose: (value: Value) => void;
}) {
  return (
    <select
      class="take-choice"
      aria-label={props.label}
      value={props.value}
      onChange={(event) => {
        const chosen = props.options[event.currentTarget.selectedIndex];
        if (chosen !== undefined) {
          props.onChoose(chosen.value);
        }
      }}
    >
      {props.options.map(({ value, name }) => (
        <option key={value} value={value}>
          {name}
        </option>
      ))}
    </select>
  );
}

/** The floorplan itself, which the page draws. */
function ViewLine({ work }: { readonly work: Work }) {
  const page = usePage();
  const save = (format: 'png' | 'svg') => () => work.run(`the view as ${format}`, () => saveView(page, format));
  return (
    <li class="take-line">
      <Icon name="thread" />
      <span class="take-name">
        <b>Picture of the view</b>
        <span>the floorplan as it is shown, with its legend</span>
      </span>
      <span class="take-formats">
        {(['png', 'svg'] as const).map((format) => (
          <Button
            key={format}
            label={`Picture of the view as ${format.toUpperCase()}`}
            look="outlined"
            disabled={work.busy.value !== ''}
            onPress={save(format)}
          >
            {format.toUpperCase()}
          </Button>
        ))}
        <Button
          label="Picture of the view: copy as command"
          icon="terminal"
          onPress={() => void copyCommand(page, viewTake(page.explorer))}
        />
      </span>
    </li>
  );
}

function Progress({ work }: { readonly work: Work }) {
  const { notice } = usePage().explorer.panels;
  const words = work.words.value !== '' ? work.words.value : notice.value;
  return (
    <p class="take-foot" role="status">
      {work.busy.value === '' ? (
        words === '' ? (
          'What the server makes has the bytes of the command line that is copied beside it.'
        ) : (
          words
        )
      ) : (
        <>
          <span>Making {work.busy.value} …</span>
          <Button label="Cancel" onPress={work.cancel}>
            Cancel
          </Button>
        </>
      )}
    </p>
  );
}

/** Everything that can be taken along: pictures, films, plots, events, numbers, the report. */
export function TakeAwayDialog({ onClose }: { readonly onClose: () => void }) {
  const page = usePage();
  const work = useWork(page);
  const kind = useSignal<PlotKind>('timeline');
  const rate = useSignal<number>(RATES[0]);
  const film = filmOffer(page, rate.value);
  const kinds = PLOTS.map((plot) => ({ value: plot.kind, name: plot.name }));
  const rates = RATES.map((fps) => ({ value: fps as number, name: `${fps} a second` }));
  return (
    <Dialog label="Take away" title="Take away" class="take-dialog" onClose={onClose}>
      <div class="take-page">
        <ul>
          <ViewLine work={work} />
          {film === undefined ? (
            <li class="take-line take-none">
              <Icon name="play" />
              <span class="take-name">
                <b>Film</b>
                <span>drag over the timeline: a film is made of the range</span>
              </span>
            </li>
          ) : (
            <OfferLine offer={film} work={work}>
              <Choice label="Pictures a second" value={rate.value} options={rates} onChoose={(fps) => (rate.value = fps)} />
            </OfferLine>
          )}
          <OfferLine offer={plotOffer(page, kind.value)} work={work}>
            <Choice label="What is plotted" value={kind.value} options={kinds} onChoose={(chosen) => (kind.value = chosen)} />
          </OfferLine>
          {plainOffers(page).map((offer) => (
            <OfferLine key={offer.id} offer={offer} work={work} />
          ))}
        </ul>
        <Progress work={work} />
      </div>
    </Dialog>
  );
}

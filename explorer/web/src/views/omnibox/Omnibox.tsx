import { useComputed, useSignal } from '@preact/signals';
import { useEffect, useLayoutEffect, useMemo, useRef } from 'preact/hooks';

import { counted } from '../../base/words';
import { AnswerFeed } from '../../model/answerFeed';
import { Dialog } from '../../widgets/Dialog';
import { Icon } from '../../widgets/Icon';
import { usePage, type Page } from '../context';
import { commandResults, findResults, type Result } from './results';
import './omnibox.css';

/** Asks the engine for names that match, while something is typed. */
function useNames(page: Page, text: { readonly value: string }) {
  const feed = useMemo(() => {
    const wanted = () => text.value.trim();
    return new AnswerFeed(
      page.explorer,
      'search',
      () => {
        const shape = page.explorer.trace.shape.value;
        return wanted() === '' || wanted().startsWith('>') || shape === undefined
          ? undefined
          : { text: wanted(), shape, most: 20 };
      },
      () => 'names',
    );
  }, [page]);
  useEffect(() => feed.follow(), [feed]);
  return feed;
}

function Line(props: {
  readonly result: Result;
  readonly at: number;
  readonly chosen: boolean;
  readonly onRun: () => void;
  readonly onPoint: () => void;
}) {
  const { result, chosen } = props;
  const element = useRef<HTMLLIElement>(null);
  useEffect(() => {
    if (chosen) {
      element.current?.scrollIntoView({ block: 'nearest' });
    }
  }, [chosen]);
  return (
    <li
      ref={element}
      id={`result-${props.at}`}
      role="option"
      aria-selected={chosen}
      class="result"
      onClick={props.onRun}
      onPointerMove={props.onPoint}
    >
      <Icon name={result.icon} />
      <b>
        {result.parts.map((part, i) => (part.matched ? <mark key={i}>{part.text}</mark> : part.text))}
      </b>
      <span class="result-detail">{result.detail}</span>
      <span class="keys" aria-hidden="true">
        {(result.keys ?? []).map((key) => (
          <kbd key={key}>{key}</kbd>
        ))}
      </span>
    </li>
  );
}

/** Results under the names of their groups. */
function Results(props: {
  readonly results: readonly Result[];
  readonly chosen: number;
  readonly onRun: (at: number) => void;
  readonly onPoint: (at: number) => void;
}) {
  const { results } = props;
  const groups = [...new Set(results.map((result) => result.group))];
  return (
    <div class="results" role="listbox" id="results" aria-label="Results">
      {groups.map((group) => (
        <ul key={group} role="group" aria-label={group}>
          <li role="presentation" class="result-group">
            {group}
          </li>
          {results.map((result, at) =>
            result.group !== group ? null : (
              <Line
                key={result.key}
                result={result}
                at={at}
                chosen={at === props.chosen}
                onRun={() => props.onRun(at)}
                onPoint={() => props.onPoint(at)}
              />
            ),
          )}
        </ul>
      ))}
    </div>
  );
}

function Foot({ commands }: { readonly commands: boolean }) {
  return (
    <footer class="omnibox-foot">
      <kbd>↑</kbd> <kbd>↓</kbd> choose <kbd>Enter</kbd> {commands ? 'run' : 'go'} <kbd>Esc</kbd> close
      <span class="grow" />
      <span class="middle-only">
        {commands ? (
          <>
            without <b>&gt;</b>: places, cycles, events, marks
          </>
        ) : (
          <>
            <b>&gt;</b> lists commands
          </>
        )}
      </span>
    </footer>
  );
}

/** What stands where nothing was found. */
function Nothing({ text }: { readonly text: string }) {
  return (
    <p class="omnibox-none">
      {text.trim() === '' ? (
        <>
          A place <code>3,7</code>, a cycle <code>1842</code>, a step <code>step 40</code>, a name, or words of events:{' '}
          <code>thread:3 fire</code>
        </>
      ) : (
        'Nothing is called that.'
      )}
    </p>
  );
}

/** One box for places, moments, marks and events; with `>` in front, for commands. */
export function Omnibox({ wish, onClose }: { readonly wish: { readonly text: string }; readonly onClose: () => void }) {
  const page = usePage();
  const text = useSignal(wish.text);
  const at = useSignal(0);
  const input = useRef<HTMLInputElement>(null);
  const names = useNames(page, text);
  const results = useComputed(() =>
    text.value.startsWith('>')
      ? commandResults(page, text.value.slice(1))
      : findResults(page, text.value, names.fed.value?.answer.head),
  );
  useLayoutEffect(() => {
    text.value = wish.text; // a command chosen here may wish for another search
    at.value = 0;
    if (input.current !== null) {
      input.current.value = wish.text;
      input.current.focus();
      input.current.setSelectionRange(wish.text.length, wish.text.length);
    }
  }, [wish]);
  const isCommands = text.value.startsWith('>');
  const list = results.value;
  const chosen = Math.min(at.value, list.length - 1);
  const run = (index: number, back: boolean) => {
    const result = list[index];
    if (result !== undefined) {
      onClose();
      void result.run(back);
    }
  };
  const press = (event: KeyboardEvent) => {
    const move = { ArrowDown: 1, ArrowUp: -1 }[event.key];
    if (move !== undefined && list.length > 0) {
      event.preventDefault();
      at.value = (chosen + move + list.length) % list.length;
    } else if (event.key === 'Enter') {
      event.preventDefault();
      run(chosen, event.shiftKey);
    }
  };
  return (
    <Dialog label={isCommands ? 'Commands' : 'Search'} class="omnibox" onClose={onClose}>
      <div class="omnibox-field">
        {isCommands ? null : <Icon name="search" />}
        <input
          ref={input}
          type="text"
          role="combobox"
          aria-label="Find a place, cycle or event"
          aria-expanded={list.length > 0}
          aria-controls="results"
          aria-autocomplete="list"
          aria-activedescendant={chosen >= 0 ? `result-${chosen}` : undefined}
          spellcheck={false}
          autocomplete="off"
          value={text.value}
          onInput={(event) => {
            text.value = event.currentTarget.value;
            at.value = 0;
          }}
          onKeyDown={press}
        />
        <span class="omnibox-count" role="status">
          {isCommands ? counted(list.length, 'command') : null}
        </span>
      </div>
      {list.length === 0 ? <Nothing text={text.value} /> : null}
      <Results results={list} chosen={chosen} onRun={(index) => run(index, false)} onPoint={(i) => (at.value = i)} />
      <Foot commands={isCommands} />
    </Dialog>
  );
}

import { useComputed } from '@preact/signals';
import { useEffect, useRef } from 'preact/hooks';

import { continuations, withWord, withoutWord, type FilterWord } from '../../base/filterWords';
import type { EventList } from '../../model/eventList';
import { Button } from '../../widgets/Button';
import { usePage } from '../context';

/** One word as it is drawn under the text: a token, or a wavy line. */
function Token({ word }: { readonly word: FilterWord }) {
  if (word.trouble !== undefined) {
    return <span class="filter-unknown">{word.text}</span>;
  }
  const bare = word.sign === '';
  return (
    <span class="filter-token">
      {bare ? '' : word.name + word.sign}
      <b>{bare ? word.text : word.value}</b>
    </span>
  );
}

/** The text once more, with tokens; it lies under the input, letter under letter. */
function Mirror({ text, words }: { readonly text: string; readonly words: readonly FilterWord[] }) {
  let at = 0;
  const parts = words.flatMap((word, index) => {
    const gap = text.slice(at, word.start);
    at = word.end;
    return [gap, <Token key={index} word={word} />];
  });
  return (
    <div class="filter-mirror" aria-hidden="true">
      {parts}
      {text.slice(at)}
    </div>
  );
}

/** The first word that cannot be used, what to put in its place, and what may follow. */
function Advice({ list, take }: { readonly list: EventList; readonly take: (text: string) => void }) {
  const words = list.words.value;
  const index = words.words.findIndex((word) => word.trouble !== undefined);
  const word = words.words[index];
  const following = continuations(list.text.value, list.text.value.length, list.attributes.value);
  const typing = index === words.words.length - 1 && following.length > 0;
  if (typing) {
    return (
      <p class="filter-advice">
        {following.slice(0, 6).map((name) => (
          <button
            key={name}
            type="button"
            class="filter-choice"
            onClick={() => take(withWord(words, index, name) + (name.endsWith(':') ? '' : ' '))}
          >
            {name}
          </button>
        ))}
      </p>
    );
  }
  if (word === undefined) {
    return null;
  }
  const { suggestion } = word;
  return (
    <p class="filter-advice" role="status">
      <span>
        {(word.trouble ?? '').split('`').map((part, i) => (i % 2 === 0 ? part : <code key={i}>{part}</code>))}
      </span>
      {suggestion === undefined ? null : (
        <button type="button" class="filter-choice" onClick={() => take(withWord(words, index, suggestion))}>
          {suggestion}
        </button>
      )}
      <button type="button" class="filter-choice" onClick={() => take(withoutWord(words, index))}>
        leave it out
      </button>
    </p>
  );
}

/** The filter, typed as words. */
export function FilterBox({ list }: { readonly list: EventList }) {
  const { panels } = usePage().explorer;
  const input = useRef<HTMLInputElement>(null);
  const wished = panels.filterWish.value;
  useEffect(() => {
    if (wished !== undefined) {
      list.text.value = wished.text;
      panels.filterWish.value = undefined;
      input.current?.focus();
    }
  }, [wished]);
  const words = useComputed(() => list.words.value.words);
  const take = (text: string) => {
    list.text.value = text;
    input.current?.focus();
  };
  return (
    <>
      <div class="filter" role="search">
        <div class="filter-field">
          <Mirror text={list.text.value} words={words.value} />
          <input
            ref={input}
            type="text"
            aria-label="Filter events"
            aria-invalid={!list.words.value.usable}
            placeholder="fire  thread:3  pe:3,7  cycle>100"
            spellcheck={false}
            autocomplete="off"
            value={list.text.value}
            onInput={(event) => (list.text.value = event.currentTarget.value)}
            onKeyDown={(event) => event.key === 'Escape' && event.currentTarget.blur()}
          />
        </div>
        {list.text.value === '' ? null : <Button label="Clear the filter" icon="close" onPress={() => take('')} />}
      </div>
      <Advice list={list} take={take} />
    </>
  );
}

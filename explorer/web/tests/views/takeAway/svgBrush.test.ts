import { expect, test } from 'vitest';

import { paintWedges } from '../../../src/gl/brush';
import { WedgeList } from '../../../src/gl/wedges';
import { fontStyle } from '../../../src/views/takeAway/ownFont';
import { SvgBrush } from '../../../src/views/takeAway/svgBrush';

const brush = () => new SvgBrush((text, font) => text.length * Number(/ ([\d.]+)px/.exec(font)?.[1]));

test('Rectangles of one colour that follow each other are one shape', () => {
  const svg = brush();
  svg.fillStyle = 'rgb(1 2 3)';
  svg.fillRect(0, 0, 10, 5);
  svg.fillRect(20, 0, 10, 5.555);
  svg.fillStyle = 'rgb(4 5 6)';
  svg.fillRect(0, 10, 1, 1);
  const file = svg.file(100, 50, 'a <b> & "c"');
  expect(file).toContain('<title>a &lt;b&gt; &amp; &quot;c&quot;</title>');
  expect(file.match(/<path/g)?.length).toBe(2);
  expect(file).toContain('<path fill="rgb(1 2 3)" d="M0 0h10v5h-10ZM20 0h10v5.55h-10Z"/>');
});

test('Text stands where a canvas would put it, and says nothing to a reader of markup', () => {
  const svg = brush();
  svg.font = '650 12px "Inter Variable", sans-serif';
  svg.textAlign = 'right';
  svg.textBaseline = 'middle';
  svg.fillText('a<b', 10, 20);
  expect(svg.measureText('four').width).toBe(48);
  expect(svg.file(1, 1, '')).toContain(
    '<text x="10" y="24.32" fill="#000" font-family="&quot;Inter Variable&quot;, sans-serif" font-size="12" font-weight="650" text-anchor="end">a&lt;b</text>',
  );
});

test('What is drawn within a box is cut at it', () => {
  const svg = brush();
  svg.within({ x: 5, y: 6, width: 10, height: 20 }, 100, 200, () => svg.strokeRect(0, 0, 50, 50));
  const file = svg.file(300, 300, '');
  expect(file).toContain('<svg x="100" y="200" width="10" height="20" viewBox="5 6 10 20">\n<rect ');
  expect(file).toContain('</svg>\n</svg>');
});

test('A wedge is a shape with a point', () => {
  const svg = brush();
  const list = new WedgeList();
  list.add([0, 0, 10, 0], { start: 2, neck: 1, head: 4, left: 3, right: 3, tip: 0 }, [255, 0, 0], 0.5);
  paintWedges(svg, list);
  expect(svg.file(1, 1, '')).toContain(
    '<path fill="rgb(255 0 0)" fill-opacity="0.5" d="M0 -2L6 -1L6 -3L10 0L6 3L6 1L0 2Z"/>',
  );
});

test('A file that brings its font along has all of its bytes', () => {
  const bytes = Uint8Array.from({ length: 70_000 }, (_, i) => i % 251);
  const file = brush().file(10, 10, 'a', fontStyle(bytes));
  const [, kept = ''] = /font-family:Inter;.*base64,([^)]*)\)/.exec(file) ?? [];
  expect(Uint8Array.from(atob(kept), (letter) => letter.charCodeAt(0))).toEqual(bytes);
  expect(brush().file(10, 10, 'a')).not.toContain('style');
});

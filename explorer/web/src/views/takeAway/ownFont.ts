import fontAddress from '@fontsource-variable/inter/files/inter-latin-wght-normal.woff2?url';

// The page's own font, for pictures that are read where nobody has it.

function base64(bytes: Uint8Array): string {
  const PART = 0x8000; // arguments that a call can have
  let text = '';
  for (let i = 0; i < bytes.length; i += PART) {
    text += String.fromCharCode(...bytes.subarray(i, i + PART));
  }
  return btoa(text);
}

/** What names the font in a file of shapes and holds it, Latin letters of all weights. */
export const fontStyle = (bytes: Uint8Array): string =>
  '<style>@font-face{font-family:Inter;font-weight:100 900;' +
  `src:url(data:font/woff2;base64,${base64(bytes)}) format("woff2")}</style>\n`;

/** The same of the font that the page has; nothing where it cannot be fetched, and others stand in for it. */
export async function ownFontStyle(): Promise<string> {
  const answer = await fetch(fontAddress).catch(() => undefined);
  return answer?.ok === true ? fontStyle(new Uint8Array(await answer.arrayBuffer())) : '';
}

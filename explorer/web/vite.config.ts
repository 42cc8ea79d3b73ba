import { defineConfig } from 'vitest/config';

// The page is carried within the program, which serves it under its own address: all paths are
// relative, and nothing is put into the page itself, since its policy forbids scripts and styles
// that stand in it.
export default defineConfig({
  base: './',
  build: {
    target: 'es2022',
    assetsInlineLimit: 0,
    modulePreload: { polyfill: false },
    reportCompressedSize: false,
  },
  esbuild: { jsx: 'automatic', jsxImportSource: 'preact', legalComments: 'none' },
  test: {
    include: ['tests/**/*.test.{ts,tsx}'],
    environment: 'node',
  },
});

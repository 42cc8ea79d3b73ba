/** Six digits side by side, in squares of `size` pixels: how much of each pixel is ink. */
export function digitShares(size: number, font: string): Uint8Array {
  const canvas = document.createElement('canvas');
  canvas.width = 6 * size;
  canvas.height = size;
  const context = canvas.getContext('2d', { willReadFrequently: true });
  if (context === null) {
    return new Uint8Array(6 * size * size);
  }
  context.font = `650 ${Math.round(0.9 * size)}px ${font}`;
  context.textAlign = 'center';
  context.textBaseline = 'middle';
  context.fillStyle = '#000';
  for (let digit = 0; digit < 6; ++digit) {
    context.fillText(String(digit), (digit + 0.5) * size, size / 2 + 0.5);
  }
  const pixels = context.getImageData(0, 0, canvas.width, canvas.height).data;
  return Uint8Array.from({ length: 6 * size * size }, (_, i) => pixels[4 * i + 3] ?? 0);
}

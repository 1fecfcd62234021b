import type { Value } from '../../client/index.js';
import { areLevels, bandDeflection, zoneOf } from '../model/scale.js';
import { greyTone, type Palette } from './palette.js';
import type { Box } from './layout.js';

/** A column a band: coloured like levels if they are levels, else in relation to the greatest. */
export function drawSpark(
  context: CanvasRenderingContext2D,
  box: Box,
  value: Value,
  palette: Palette,
  tone: number,
): void {
  context.fillStyle = palette.ground;
  context.fillRect(box.x, box.y, box.width, box.height);
  if (value === null || typeof value !== 'object' || value.length === 0) return;
  const levels = areLevels(value);
  const bottom = Math.min(0, ...value);
  const span = Math.max(...value) - bottom;
  for (let band = 0; band < value.length; band++) {
    const left = Math.round((box.width * band) / value.length);
    const right = Math.round((box.width * (band + 1)) / value.length);
    const gap = right - left > 3 ? Math.max(1, Math.round((right - left) * 0.18)) : 0;
    const part = levels ? bandDeflection(value[band]) : span > 0 ? (value[band] - bottom) / span : 0;
    const height = Math.max(1, Math.round(part * box.height));
    context.fillStyle = palette.solid[tone === greyTone ? greyTone : levels ? zoneOf(value[band]) : greyTone];
    context.fillRect(box.x + left, box.y + box.height - height, right - left - gap, height);
  }
}

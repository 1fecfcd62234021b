/** The colours of a drawing, which the style sheet has: by theme, and for the colour-blind. */
export interface Palette {
  ground: string;
  ink: string;
  faint: string;
  track: string;
  line: string;
  /** By zone: good, warm, hot; the last one is what is not live. */
  solid: readonly string[];
  light: readonly string[];
  text: readonly string[];
  lamp: string;
  lampInk: string;
}

/** The place of the colours of what is not live. */
export const greyTone = 3;

const zones = ['good', 'warm', 'hot', 'grey'];

export function readPalette(): Palette {
  const style = getComputedStyle(document.documentElement);
  const colour = (name: string) => style.getPropertyValue(`--${name}`).trim();
  return {
    ground: colour('ground'),
    ink: colour('ink'),
    faint: colour('faint'),
    track: colour('track'),
    line: colour('line'),
    solid: zones.map((zone) => colour(zone)),
    light: zones.map((zone) => colour(`${zone}-light`)),
    text: zones.map((zone) => colour(`${zone}-ink`)),
    lamp: colour('lamp'),
    lampInk: colour('lamp-ink'),
  };
}

export const fontOf = (size: number, weight = 400) => `${weight} ${size}px system-ui, "DejaVu Sans", sans-serif`;

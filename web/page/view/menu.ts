import { Awake } from './awake.js';
import { button, element, option, setText } from './dom.js';
import type { Settings } from './settings.js';

/** What the menu asks the page to do. */
export interface MenuActions {
  settings(change: Partial<Settings>): void;
  keepPeaks(keep: boolean): void;
  help(): void;
}

function choice(label: string, choices: readonly [string, string][], chosen: (value: string) => void) {
  const select = element('select', {}, ...choices.map(([value, text]) => option(value, text)));
  select.addEventListener('change', () => chosen(select.value));
  return { select, row: element('label', {}, element('span', {}, label), select) };
}

export function toggleFullScreen(): void {
  const done = document.fullscreenElement ? document.exitFullscreen() : document.documentElement.requestFullscreen();
  done.catch(() => undefined);
}

/** What is chosen rarely. */
export class Menu {
  readonly element = element('details', { class: 'menu' }, element('summary', {}, 'View'));
  private readonly theme;
  private readonly colours;
  private readonly peaks;
  private readonly awake = new Awake();

  constructor(actions: MenuActions) {
    this.theme = choice(
      'Theme',
      [
        ['auto', 'as the system'],
        ['dark', 'dark'],
        ['light', 'light'],
      ],
      (theme) => {
        actions.settings({ theme: theme as Settings['theme'] });
      },
    );
    this.colours = choice(
      'Colours',
      [
        ['standard', 'green, amber, red'],
        ['safe', 'for the colour-blind'],
      ],
      (colours) => {
        actions.settings({ colours: colours as Settings['colours'] });
      },
    );
    this.peaks = choice(
      'Held peaks',
      [
        ['fall', 'fall after 1.5 s'],
        ['keep', 'stay until reset'],
      ],
      (peaks) => {
        actions.keepPeaks(peaks === 'keep');
      },
    );
    const full = button('Full screen', { 'aria-keyshortcuts': 'f' }, toggleFullScreen);
    full.hidden = !document.fullscreenEnabled;
    const rows = [this.theme.row, this.colours.row, this.peaks.row, full, ...this.awakeRow()];
    this.element.append(
      element(
        'div',
        { class: 'sheet' },
        ...rows,
        button('Keys and help', {}, () => this.help(actions)),
      ),
    );
    document.addEventListener('click', (event) => {
      if (event.target instanceof Node && !this.element.contains(event.target)) this.element.open = false;
    });
    this.element.addEventListener('keydown', (event) => {
      if (event.key === 'Escape') this.close();
    });
  }

  show(settings: Settings, keepsPeaks: boolean): void {
    this.theme.select.value = settings.theme;
    this.colours.select.value = settings.colours;
    this.peaks.select.value = keepsPeaks ? 'keep' : 'fall';
  }

  private close(): void {
    if (!this.element.open) return;
    this.element.open = false;
    this.element.querySelector('summary')?.focus();
  }

  private help(actions: MenuActions): void {
    this.element.open = false;
    actions.help();
  }

  private awakeRow(): HTMLElement[] {
    const keep = button('Keep the screen on', { 'aria-pressed': 'false' }, () => {
      void this.awake.set(!this.awake.wanted).then(() => {
        keep.setAttribute('aria-pressed', String(this.awake.wanted));
      });
    });
    keep.disabled = Awake.problem !== '';
    if (keep.disabled) setText(keep, `Keep the screen on: ${Awake.problem}`);
    return [keep];
  }
}

/** What a person prefers on this machine; kept by the browser. */
export interface Settings {
  theme: 'auto' | 'dark' | 'light';
  colours: 'standard' | 'safe';
}

const name = 'corvalux';
const standard: Settings = { theme: 'auto', colours: 'standard' };

/** A browser may refuse to keep anything. */
export function loadSettings(): Settings {
  try {
    return { ...standard, ...(JSON.parse(localStorage.getItem(name) ?? '{}') as Partial<Settings>) };
  } catch {
    return { ...standard };
  }
}

export function saveSettings(settings: Settings): void {
  try {
    localStorage.setItem(name, JSON.stringify(settings));
  } catch {
    // Then they last until the page is closed.
  }
}

const darkWish = matchMedia('(prefers-color-scheme: dark)');

/** The style sheet has the colours of each. */
export function applySettings(settings: Settings): void {
  const dark = settings.theme === 'auto' ? darkWish.matches : settings.theme === 'dark';
  document.documentElement.dataset['theme'] = dark ? 'dark' : 'light';
  document.documentElement.dataset['colours'] = settings.colours;
}

export function onThemeWish(changed: () => void): void {
  darkWish.addEventListener('change', changed);
}

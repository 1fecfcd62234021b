/** What keys do, by KeyboardEvent.key. */
export type Keys = Readonly<Record<string, () => void>>;

/** Controls have keys of their own. */
function isTaken(event: KeyboardEvent): boolean {
  if (event.ctrlKey || event.metaKey || event.altKey || event.defaultPrevented) return true;
  if (document.querySelector('dialog[open]')) return true;
  const target = event.target instanceof Element ? event.target : document.body;
  if (target.closest('input, select, textarea')) return true;
  return event.key === ' ' && target.closest('button, summary, a') !== null;
}

export function listenToKeys(keys: Keys): void {
  addEventListener('keydown', (event) => {
    const act = keys[event.key] as (() => void) | undefined;
    if (!act || isTaken(event)) return;
    event.preventDefault();
    act();
  });
}

type Child = Node | string;

/** An element with attributes; those that are false are left out. */
export function element<Name extends keyof HTMLElementTagNameMap>(
  name: Name,
  attributes: Record<string, string | boolean> = {},
  ...children: Child[]
): HTMLElementTagNameMap[Name] {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) {
    if (value !== false) made.setAttribute(key, value === true ? '' : value);
  }
  made.append(...children);
  return made;
}

/**
 * Writes only what is new: to write the same again costs a layout. Keeps the node of the text, because for another one
 * styles are computed, and the next fillText() of a canvas waits for that.
 */
export function setText(node: HTMLElement, text: string): void {
  if (node.textContent === text) return;
  if (node.firstChild instanceof Text) node.firstChild.data = text;
  else node.textContent = text;
}

export function setAttribute(node: HTMLElement, name: string, value: string): void {
  if (node.getAttribute(name) !== value) node.setAttribute(name, value);
}

export function button(text: string, attributes: Record<string, string>, onClick: () => void): HTMLButtonElement {
  const made = element('button', { type: 'button', ...attributes }, text);
  made.addEventListener('click', onClick);
  return made;
}

export function option(value: string, text: string): HTMLOptionElement {
  return element('option', { value }, text);
}

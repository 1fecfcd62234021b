/** Strips of a device: the device's name and a pattern of strips. */
export interface Choice {
  device: string;
  strips: string;
}

/** What the page shows, as it stands in the address after the `#`. */
export interface Address {
  /** The device of a meter bridge; empty: all devices, or the wall if something is chosen for it. */
  device: string;
  wall: Choice[];
  /** Patterns of strips of the meter bridge; all if there is none. */
  keys: string[];
  /** Only strips and keys that contain this text. */
  filter: string;
  /** Updates a second, at most; 0: as they come. */
  rate: number;
  /** Held peaks stay until they are reset. */
  keepsPeaks: boolean;
  /** Further gateways, for when this page's own one does not answer. */
  gateways: string[];
}

export const nowhere: Address = {
  device: '',
  wall: [],
  keys: [],
  filter: '',
  rate: 0,
  keepsPeaks: false,
  gateways: [],
};

function rateOf(text: string | null): number {
  const rate = Number(text);
  return Number.isFinite(rate) && rate > 0 ? rate : 0;
}

/** "desk:input/*"; without a pattern, all strips. */
function choiceOf(text: string): Choice {
  const colon = text.indexOf(':');
  return colon < 0 ? { device: text, strips: '**' } : { device: text.slice(0, colon), strips: text.slice(colon + 1) };
}

const withText = (text: string) => text !== '';

function decoded(text: string): string {
  try {
    return decodeURIComponent(text);
  } catch {
    return text;
  }
}

export function parseAddress(hash: string): Address {
  const text = hash.replace(/^#?\/?/, '');
  const question = text.indexOf('?');
  const parameters = new URLSearchParams(question < 0 ? '' : text.slice(question + 1).replace(/\+/g, '%2B'));
  return {
    device: decoded(question < 0 ? text : text.slice(0, question)).replace(/\/$/, ''),
    wall: parameters.getAll('show').filter(withText).map(choiceOf),
    keys: parameters.getAll('keys').filter(withText),
    filter: parameters.get('filter') ?? '',
    rate: rateOf(parameters.get('rate')),
    keepsPeaks: parameters.get('hold') === 'keep',
    gateways: parameters.getAll('gateway').filter(withText),
  };
}

/** As little as possible is escaped, so that people can read and type an address. */
function encoded(text: string): string {
  return encodeURIComponent(text).replace(/%(2F|3A|2C|40)/g, decodeURIComponent);
}

export function formatAddress(address: Address): string {
  const parameters: [string, string][] = [
    ...address.wall.map(({ device, strips }): [string, string] => ['show', `${device}:${strips}`]),
    ...address.keys.map((keys): [string, string] => ['keys', keys]),
  ];
  if (address.filter) parameters.push(['filter', address.filter]);
  if (address.rate) parameters.push(['rate', String(address.rate)]);
  if (address.keepsPeaks) parameters.push(['hold', 'keep']);
  for (const gateway of address.gateways) parameters.push(['gateway', gateway]);
  const query = parameters.map(([name, text]) => `${name}=${encoded(text)}`).join('&');
  return `#/${encoded(address.device)}${query ? `?${query}` : ''}`;
}

function socketAt(url: URL): string {
  url.protocol = url.protocol.replace('http', 'ws');
  url.hash = url.search = '';
  return url.href;
}

/** "10.0.0.2:8080", or a whole address; undefined if it is none. */
function gatewayAt(page: URL, text: string): string | undefined {
  try {
    const url = new URL(/^[a-z]+:\/\//.test(text) ? text : `${page.protocol}//${text}`);
    if (!/^(http|ws)s?:$/.test(url.protocol)) return undefined;
    return socketAt(url.pathname === '/' ? new URL('live', url) : url);
  } catch {
    return undefined;
  }
}

/** Where the gateways' live sockets are: beside the page, then the further ones. */
export function liveUrls(page: string, gateways: readonly string[]): string[] {
  const here = new URL(page);
  const further = gateways.map((text) => gatewayAt(here, text)).filter((url) => url !== undefined);
  return [socketAt(new URL('live', here)), ...further];
}

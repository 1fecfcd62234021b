import type { Devices } from './messages.js';
import type { DeviceSummary } from './types.js';

/** All devices that the gateway has, in the order of their names. */
export class KeptDevices {
  readonly all = new Map<string, DeviceSummary>();
  private complete = false;

  /** For a new connection. The devices stay until its gateway has named its own. */
  reset(): void {
    this.complete = false;
  }

  take({ devices, gone }: Devices): void {
    if (!this.complete) this.all.clear(); // the first message has all
    this.complete = true;
    for (const name of gone) this.all.delete(name);
    const before = this.all.size;
    for (const device of devices) this.all.set(device.name, device);
    if (before > 0 && this.all.size > before) this.sort();
  }

  private sort(): void {
    const sorted = [...this.all].sort(([one], [other]) => (one < other ? -1 : 1));
    this.all.clear();
    for (const [name, device] of sorted) this.all.set(name, device);
  }
}

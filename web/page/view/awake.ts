/** Keeps the screen on while the page is visible. Browsers allow it to pages with HTTPS only. */
export class Awake {
  wanted = false;
  private lock: WakeLockSentinel | undefined;

  /** Why it cannot be; empty if it can. */
  static readonly problem = !isSecureContext ? 'needs HTTPS' : 'wakeLock' in navigator ? '' : 'this browser cannot';

  constructor() {
    document.addEventListener('visibilitychange', () => void this.hold());
  }

  /** Ends when it is known whether the browser keeps it on. */
  set(wanted: boolean): Promise<void> {
    this.wanted = wanted && Awake.problem === '';
    return this.hold();
  }

  /** A browser takes the lock away when the page is hidden. */
  private async hold(): Promise<void> {
    try {
      if (!this.wanted) await this.lock?.release();
      else if (!document.hidden) this.lock = await navigator.wakeLock.request('screen');
    } catch {
      this.wanted = false;
    }
  }
}

// A studio over a document in a folder of its own and a browser to look at it. It checks nothing.
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { Browser } from './driver.mjs';

/// Against hanging alone, in milliseconds.
const kPatience = 300000;

export const state = (page) => page.evaluate(async () => (await fetch('api/state')).json());
export const press = (page, key) => page.click('[data-key="' + key + '"]');
/// Waits until the studio's state is so.
export async function until(page, holds) {
  for (const end = Date.now() + kPatience; Date.now() < end; await new Promise((resolve) => { setTimeout(resolve, 50); })) if (holds(await state(page))) return;
  throw new Error('never: ' + holds);
}

const ended = (child) => new Promise((resolve) => { if (child.exitCode !== null || child.signalCode) resolve(); else child.once('exit', resolve); });

export class Session {
  constructor(program, chromium, name) {
    this.program = program;
    this.folder = fs.mkdtempSync(path.join(os.tmpdir(), 'tumblewash-page-'));
    this.home = fs.mkdtempSync(path.join(os.tmpdir(), 'tumblewash-browser-'));
    this.file = path.join(this.folder, name + '.edit.json');
    this.browser = new Browser(chromium, this.home);
    this.pages = [];
  }

  at(name) { return path.join(this.folder, name); }

  /// Starts the studio over the document.
  async start() {
    this.studio = spawn(this.program, ['studio', this.file, '--no-browser'],
      { stdio: ['ignore', 'pipe', 'inherit'], env: { ...process.env, XDG_STATE_HOME: this.at('.state') } });
    for await (const piece of this.studio.stdout) { this.address = String(piece).trim(); return; }
    throw new Error('no address');
  }
  async stop(signal) { this.studio.kill(signal); await this.gone(); }
  gone() { return ended(this.studio); }

  /// A page of the studio.
  async open(width, height, scheme, ready = () => document.querySelector('canvas')?.dataset.shown) {
    const page = await this.browser.page(width, height, scheme);
    this.pages.push(page);
    await page.goto(this.address);
    await page.until(ready);
    return page;
  }
  async close(page) {
    this.pages.splice(this.pages.indexOf(page), 1);
    await page.close();
  }

  async end() {
    await this.browser.close();
    if (this.studio) await this.stop('SIGTERM');
    for (const each of [this.folder, this.home]) fs.rmSync(each, { recursive: true, force: true, maxRetries: 5 });
  }
}

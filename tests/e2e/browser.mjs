// The browser of the tests, its windows, and what every page that it shows has to keep.

import assert from "node:assert/strict";
import fs from "node:fs";
import { createRequire } from "node:module";
import path from "node:path";

const require = createRequire(path.join(process.env.HOTSPOT_NPM_DIR, "package.json"));
const { chromium } = require("playwright-core");
const axe = fs.readFileSync(require.resolve("axe-core/axe.min.js"), "utf8");
const screenshots = path.join(process.env.HOTSPOT_BUILD_DIR, "screenshots");

// `rules` say where names lead to, as Chromium's option has it.
export function startBrowser(rules = ["MAP * ~NOTFOUND"]) {
  fs.mkdirSync(screenshots, { recursive: true });
  return chromium.launch({
    executablePath: process.env.HOTSPOT_CHROMIUM ?? "/usr/bin/chromium",
    args: ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
      "--disable-background-networking", "--disable-component-update", "--disable-sync",
      `--host-resolver-rules=${rules.join(", ")}`],
  });
}

// A window of its own, as of a guest who was never here. English unless `locale` says otherwise.
export async function openWindow(browser, { width = 1280, ...options } = {}) {
  const window = await browser.newContext({
    viewport: { width, height: width < 600 ? 640 : 800 }, ignoreHTTPSErrors: true, locale: "en", ...options,
  });
  window.setDefaultTimeout(60000);
  return window;
}

export async function assertFits(page, what) {
  const overflow = await page.evaluate(
    () => document.documentElement.scrollWidth - document.documentElement.clientWidth);
  assert.ok(overflow <= 0, `${what} is ${overflow} pixels too wide`);
}

export async function shoot(page, name) {
  await assertFits(page, name);
  await page.screenshot({ path: path.join(screenshots, `${name}.png`), fullPage: true });
}

// Accessibility: the rules of WCAG 2.2 up to AA and axe's best practices. The page's own policy lets no script in, so
// this one comes by the debugger.
export async function assertAccessible(page, what) {
  await page.evaluate(axe);
  const { violations } = await page.evaluate(() => globalThis.axe.run());
  assert.deepEqual(violations.map(({ id, nodes }) => `${what}: ${id}: ${nodes.map(({ html }) => html).join(" ")}`), []);
}

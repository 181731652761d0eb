// Guests of a whole portal in a real browser: every name leads to the portal's web server, as if every request were
// held back.

import assert from "node:assert/strict";
import { openWindow, shoot, startBrowser } from "./browser.mjs";
import { Portal, user } from "./portal.mjs";

// `others` are addresses that guests may be led on to.
export async function startGuests(options, others = []) {
  const portal = await Portal.start(options);
  let browser;
  try {
    browser = await startBrowser([`MAP *:80 127.0.0.1:${portal.port}`, `MAP *:443 127.0.0.1:${portal.tlsPort}`]);
  } catch (error) {
    await portal.stop();
    throw error;
  }

  // A visit in a window of its own. `seen` gathers what must stay empty (script errors, requests to other hosts) and
  // what forms sent: their fields, and the addresses of all requests.
  async function visit(windowOptions, action) {
    const window = await openWindow(browser, windowOptions);
    const page = await window.newPage();
    const seen = { errors: [], strangers: [], sent: [], addresses: [] };
    page.on("pageerror", (error) => seen.errors.push(error.message));
    page.on("console", (line) => { if (line.type() === "error") seen.errors.push(line.text()); });
    page.on("request", (request) => {
      seen.addresses.push(request.url());
      if (request.method() === "POST") seen.sent.push(new URLSearchParams(request.postData() ?? ""));
      const own = new URL(request.url()).host === new URL(portal.url).host;
      if (!own && !others.includes(request.url()) && !request.url().startsWith("data:")) seen.strangers.push(request.url());
    });
    try {
      await action(page, seen, window);
      assert.deepEqual(seen.errors, []);
      assert.deepEqual(seen.strangers, []);
    } catch (error) {
      await shoot(page, "failed").catch(() => {});
      throw error;
    } finally {
      for (const name of [user.name, "trial"]) portal.ctl(["session", "end", "--user", name]);
      await window.close();
    }
  }

  const stop = async () => {
    await browser.close();
    await portal.stop();
  };
  return { portal, visit, stop };
}

// Pages that lead on after a moment stay for minutes, however long a test takes to look at them.
export const holdBack = (page) => page.addInitScript(() => {
  const later = window.setTimeout;
  window.setTimeout = (action, ms, ...rest) => later(action, ms === 2000 ? 600000 : ms, ...rest);
});

export async function enter(page, password, name = user.name) {
  await page.getByLabel("User name").fill(name);
  await page.getByLabel("Password", { exact: true }).fill(password);
  await page.getByRole("button", { name: "Log in" }).click();
}

// Waits for the page with this heading, its scripts run.
export async function heading(page, text) {
  await page.getByRole("heading", { level: 1, name: text, exact: true }).waitFor();
  await page.waitForLoadState("load");
}

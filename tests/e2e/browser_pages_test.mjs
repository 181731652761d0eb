// Every page in every state in a real browser, on a phone's width and a desk's, light and dark: it fits, it is
// accessible, its policy lets its own scripts and styles run and nothing else is asked for. Screenshots go to
// screenshots/ of the build tree. HOTSPOT_LONG=1: every state in every language; else each page in some state, and
// some pages in each language.

import assert from "node:assert/strict";
import fs from "node:fs";
import path from "node:path";
import { after, before, test } from "node:test";

import { assertAccessible, openWindow, shoot, startBrowser } from "./browser.mjs";
import { inLanguage, languages, states } from "./page_states.mjs";
import { urlEscape } from "./portal.mjs";
import { addressOf, pageDirectory, portalHost, render } from "./replayed.mjs";

const isLong = process.env.HOTSPOT_LONG === "1";
const kMaxBytes = 30 * 1024;

let browser;
before(async () => { browser = await startBrowser(); });
after(() => browser?.close());

const types = { ".css": "text/css", ".js": "text/javascript" };

// A page that leads on, told that it is there already: it stays to be looked at.
function staying({ state, result }) {
  return result.body.toString("utf8").replace(/<meta http-equiv="refresh"[^>]*>/, "")
    .replace(/data-to="[^"]*"/, `data-to="${urlEscape(new URL(addressOf(state)).href)}"`);
}

// Shows rendered pages one after the other in one window; `look` is called for each.
async function show(shown, options, look) {
  const window = await openWindow(browser, options);
  const results = render(shown);
  let current;
  let loaded;
  let complaints = [];
  await window.route("**", (route) => {
    const url = new URL(route.request().url());
    const name = url.pathname.slice(1);
    if (url.href === new URL(addressOf(current.state)).href) {
      loaded += current.result.body.length;
      return route.fulfill({ contentType: "text/html", body: staying(current) });
    }
    if (url.host === portalHost && types[path.extname(name)] && !name.includes("/")) {
      const body = fs.readFileSync(path.join(pageDirectory, name));
      loaded += body.length;
      return route.fulfill({ contentType: types[path.extname(name)], body });
    }
    return route.abort();
  });
  const page = await window.newPage();
  page.on("pageerror", (error) => complaints.push(error.message));
  page.on("console", (line) => { if (line.type() === "error") complaints.push(line.text()); });
  for (const [at, state] of shown.entries()) {
    current = { state, result: results[at] };
    loaded = 0;
    complaints = [];
    await page.goto(addressOf(state));
    assert.ok(loaded > 0 && loaded < kMaxBytes, `${state.name}: ${loaded} bytes`);
    await look(page, state);
    assert.deepEqual(complaints, [], state.name);
  }
  await window.close();
}

const fileName = (state, language, ways) => `${language}/${state.name.replace(/[^a-z0-9]+/gi, "-")}-${ways}`;

async function checkAll(shown, language, { width, colorScheme, javaScriptEnabled = true }) {
  const ways = `${width}-${colorScheme}${javaScriptEnabled ? "" : "-no-script"}`;
  await show(shown, { width, colorScheme, javaScriptEnabled, locale: language }, async (page, state) => {
    assert.equal(await page.locator("html").getAttribute("lang"), state.host === undefined ? language : "en");
    assert.equal(await page.locator("h1").count(), 1, state.name);
    assert.doesNotMatch(await page.locator("body").innerText(), /\$\(|undefined|NaN/, state.name);
    await shoot(page, fileName(state, language, ways));
    if (javaScriptEnabled) await assertAccessible(page, `${language}: ${state.name}`);
  });
}

const phone = { width: 320, colorScheme: "light" };
const desk = { width: 1280, colorScheme: "dark" };
const others = [{ width: 320, colorScheme: "dark" }, { width: 1280, colorScheme: "light" }];

// Each page in one of its states, which is another for each `turn`; in the long form all of them.
function share(all, turn) {
  if (isLong) return all;
  const files = [...new Set(all.map(({ file }) => file))];
  return files.map((file) => all.filter((state) => state.file === file))
    .map((ofFile) => ofFile[turn % ofFile.length]);
}

for (const [turn, options] of [phone, desk].entries()) {
  test(`browser: the pages, ${options.width} pixels, ${options.colorScheme}`, () =>
    checkAll(share(states, turn), "en", options));
}
if (isLong) {
  for (const options of others) {
    test(`browser: the pages, ${options.width} pixels, ${options.colorScheme}`, () => checkAll(states, "en", options));
  }
}

test("browser: the pages without JavaScript", () =>
  checkAll(share(states, 2), "en", { ...phone, javaScriptEnabled: false }));

for (const [place, language] of languages.filter((code) => code !== "en").entries()) {
  test(`browser: the pages in ${language}`, async () => {
    const all = inLanguage(language);
    // Of the short form each page is in some language.
    const some = share(all, place).filter(({ file }, at) => isLong || ["login", "status"].includes(file) || at % 6 === place);
    await checkAll(some, language, place % 2 ? phone : desk);
    if (isLong) await checkAll(all, language, place % 2 ? desk : phone);
  });
}

// Hostile texts in a real browser, in every value that a client, an account or the manager's texts can bring into a
// page: no script runs but the page's own, no element comes out of a text, nothing leads to another host than the
// address asked for, nothing is asked of another host. HOTSPOT_LONG=1: every text on every page; else every text on
// some pages, so that each page meets some.

import assert from "node:assert/strict";
import fs from "node:fs";
import path from "node:path";
import { after, before, test } from "node:test";

import { openWindow, startBrowser } from "./browser.mjs";
import { hostileTexts } from "./hostile_texts.mjs";
import { states } from "./page_states.mjs";
import { addressOf, wholeDirectory, portalHost, render } from "./replayed.mjs";

const isLong = process.env.HOTSPOT_LONG === "1";

let browser;
before(async () => { browser = await startBrowser(); });
after(() => browser?.close());

// The texts of a client stand in its parameters and its path, those of the manager in its reply.
const hostile = (state, text) => ({
  ...state,
  name: `${state.name}: ${JSON.stringify(text)}`,
  path: state.host === undefined ? undefined : `/${text}`,
  // A NUL ends the name of the file that is looked for: such a page is not found.
  parameters: { ...state.parameters, dst: text, target: text.replaceAll("\u0000", ""), var: text, "session-id": text, username: text },
  reply: { ...state.reply, username: text, domain: text, message: text, loginBy: text, serverName: text,
    locationName: text, locationId: text, advert: text },
});

// What a page is made of besides its texts: elements with their attributes' names, and where it leads to.
function anatomy() {
  const elements = [...document.querySelectorAll("*")].map((element) =>
    [element.localName, ...element.getAttributeNames().filter((name) => name !== "hidden").sort()].join(" "));
  const leads = [...document.querySelectorAll("[href], [action], [src]")]
    .filter((element) => !element.hidden && element.id !== "go" && !element.hasAttribute("data-href"))
    .map((element) => element.href || element.action || element.src)
    .filter((address) => typeof address === "string");
  const onward = [...document.querySelectorAll("#go[href], [data-href][href]")].map((link) => link.getAttribute("href"));
  return { elements, leads, onward, title: document.title, ran: document.title === "run" || globalThis.injected };
}

const types = { ".css": "text/css", ".js": "text/javascript" };
const isOfTheWeb = (text) => /^https?:\/\/[^/\\\u0000-\u0020]/i.test(text);

async function meet(shown) {
  const results = render(shown);
  const window = await openWindow(browser);
  let current;
  let strangers = [];
  await window.route("**", (route) => {
    const url = new URL(route.request().url());
    const name = url.pathname.slice(1);
    if (url.href === "http://shown.test/") {
      return route.fulfill({ contentType: "text/html", body: current.body });
    }
    if (types[path.extname(name)] && !name.includes("/")) {
      return route.fulfill({ contentType: types[path.extname(name)], body: fs.readFileSync(path.join(wholeDirectory, name)) });
    }
    strangers.push(url.href);
    return route.abort();
  });
  const page = await window.newPage();
  let errors = [];
  page.on("pageerror", (error) => errors.push(error.message));
  page.on("console", (line) => { if (line.type() === "error") errors.push(line.text()); });
  page.on("dialog", (dialog) => { errors.push(`a dialog: ${dialog.message()}`); dialog.dismiss(); });
  for (const [at, state] of shown.entries()) {
    const body = results[at].body.toString("latin1")
      // Pages that lead on are looked at before they do.
      .replace(/<meta http-equiv="refresh"[^>]*>/, "").replace('data-to="', 'data-wait="60" data-to="');
    current = { body: Buffer.from(body, "latin1") };
    strangers = [];
    errors = [];
    await page.goto("http://shown.test/");
    const found = await page.evaluate(anatomy);
    assert.ok(!found.ran, state.name);
    assert.deepEqual(errors, [], state.name);
    for (const address of found.leads) {
      if (address === "data:,") continue;
      assert.ok([portalHost, "shown.test"].includes(new URL(address).host), `${state.name}: ${address}`);
      assert.match(address, /^https?:/, state.name);
    }
    // On leads what was asked for, or the portal's own, and that only by way of the web.
    for (const address of found.onward) {
      assert.ok(isOfTheWeb(address), `${state.name}: ${address}`);
      assert.ok(new URL(address).host === portalHost || address === state.parameters.dst || address === state.reply.advert ||
        state.host !== undefined && address.startsWith(`http://${state.host}/`), `${state.name}: ${address}`);
    }
    assert.deepEqual(strangers.filter((address) => !found.onward.some((to) => new URL(to).href === address) &&
      new URL(address).host !== portalHost), [], state.name);
    yieldElements(state, found.elements);
  }
  await window.close();
}

// A page has the same elements and attributes whatever its texts are. What there is only for some values (a link
// for an address of the web, say) is there or not as a whole, so each element has to be one that the page's file has.
const known = new Map();
function elementsOf(file) {
  if (!known.has(file)) {
    const source = fs.readFileSync(path.join(wholeDirectory, `${file}.html`), "utf8")
      .replace(/\$\(if [^)]*\)|\$\((?:elif [^)]*|else|endif)\)/g, " ");
    const names = new Set();
    for (const [, name] of source.replace(/<!--[^]*?-->/g, "").matchAll(/<([a-z][a-z0-9]*)/gi)) names.add(name.toLowerCase());
    known.set(file, names);
  }
  return known.get(file);
}
const kAttributes = new Set(`lang dir data-languages class charset name content http-equiv rel href viewbox viewBox
  aria-hidden d cx cy r aria-label hreflang aria-current src id role method action data-login data-chap-id
  data-chap-challenge data-plain data-unprotected data-busy for maxlength autocomplete autocapitalize autocorrect
  spellcheck required autofocus data-value type aria-describedby data-show value data-status data-to data-wait
  data-portal data-refused data-href data-refresh data-same data-soon data-fresh data-live data-seconds data-step
  data-bytes data-time max open disabled target`.trim().split(/\s+/));
function yieldElements(state, elements) {
  for (const element of elements) {
    const [name, ...attributes] = element.split(" ");
    assert.ok(elementsOf(state.file).has(name), `${state.name}: <${name}>`);
    for (const attribute of attributes) assert.ok(kAttributes.has(attribute), `${state.name}: ${name} ${attribute}`);
  }
  assert.equal(elements.filter((element) => /^h1\b/.test(element)).length, 1, state.name);
}

assert.ok(hostileTexts.length >= 100);
const files = [...new Set(states.map(({ file }) => file))];
const parts = 4;
for (let part = 0; part < parts; part++) {
  test(`browser hostile: nothing runs, nothing breaks out, ${part + 1} of ${parts}`, async () => {
    const shown = [];
    for (const [at, text] of hostileTexts.entries()) {
      if (at % parts !== part) continue;
      const turn = Math.floor(at / parts);
      const met = (isLong ? files : [0, 1].map((which) => files[(turn * 2 + which + part * 3) % files.length]))
        .map((file) => states.filter((state) => state.file === file)).map((all) => all[turn % all.length]);
      for (const state of met) shown.push(hostile(state, text));
    }
    await meet(shown);
  });
}

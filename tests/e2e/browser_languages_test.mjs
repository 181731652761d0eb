// Languages in a real browser: the browser's on a first visit, the chosen one from then on, and the place is kept.

import assert from "node:assert/strict";
import { after, before, test } from "node:test";

import { holdBack, startGuests } from "./guests.mjs";
import { languages } from "./page_states.mjs";
import { urlEscape, user } from "./portal.mjs";

const wanted = "http://www.example.com/news?a=1&b=2";
const held = "http://www.example.com/news";

let guests;
let portal;
before(async () => {
  guests = await startGuests({ profile: ["--session-time", "3600"] }, [wanted, held]);
  portal = guests.portal;
});
after(() => guests?.stop());

const languageOf = (page) => page.locator("html").getAttribute("lang");
const choose = (page, language) => page.locator(`nav a[lang=${language}]`).click();
const parametersOf = (page) => Object.fromEntries(new URL(page.url()).searchParams);

// Logs in whatever the language is. The scripts have run by then: they fill in the name of a login that failed.
async function logIn(page, password = user.password) {
  await page.waitForLoadState("load");
  await page.locator("#username").fill(user.name);
  await page.locator("#password").fill(password);
  await page.locator("#login button").click();
}

for (const language of languages) {
  test(`browser language: ${language}, from the first page to the last`, () =>
    guests.visit({ locale: language, width: 320 }, async (page) => {
      await holdBack(page);
      await page.goto(held);
      await page.locator(`html[lang=${language}]`).waitFor();
      const parameters = { dst: held, ...(language === "en" ? {} : { target: language }) };
      assert.deepEqual(parametersOf(page), parameters);
      assert.equal(await page.locator("nav a[aria-current]").getAttribute("lang"), language);
      assert.equal(await page.locator("html").getAttribute("dir"), language === "ar" ? "rtl" : "ltr");

      const stays = async (selector) => {
        await page.locator(selector).first().waitFor();
        assert.equal(await languageOf(page), language, page.url());
      };
      await logIn(page, "wrong");
      await stays("#error strong");
      await logIn(page);
      await stays("#go[href]");
      await page.locator("a[data-portal*=status]").first().click();
      await stays("#uptime");
      await page.locator("summary").last().click();
      await page.locator("#idle + button").click();
      await stays("[role=status] b");
      await page.locator("main a.button").click();
      await stays("#uptime");
      await page.locator("form[action^=logout] button").click();
      await stays("#user");
      await page.locator("main a.button").click();
      await stays("#username");
    }));
}

test("browser language: one that there is not, and a variety of one that there is", async () => {
  for (const [locale, language] of [["nl", "en"], ["de-CH", "de"], ["en-GB", "en"]]) {
    await guests.visit({ locale }, async (page) => {
      await page.goto(`${portal.url}login`);
      await page.locator(`html[lang=${language}]`).waitFor();
      assert.equal(new URL(page.url()).search, language === "en" ? "" : `?target=${language}`);
    });
  }
});

test("browser language: what was chosen stays, also English", () =>
  guests.visit({ locale: "de" }, async (page, seen) => {
    await page.goto(`${portal.url}login?dst=${urlEscape(wanted)}`);
    await page.locator("html[lang=de]").waitFor();
    await choose(page, "en");
    await page.locator("html[lang=en]").waitFor();
    assert.deepEqual(parametersOf(page), { dst: wanted, target: "en" });
    await page.reload();
    assert.equal(await languageOf(page), "en");
    const pages = seen.addresses.filter((address) => new URL(address).pathname === "/login");
    assert.equal(pages.length, 4, pages.join(" "));
  }));

test("browser language: by the directory of the address", () =>
  guests.visit({ locale: "de" }, async (page) => {
    await page.goto(`${portal.url}fr/login`);
    assert.equal(await languageOf(page), "fr");
    await logIn(page);
    await page.locator("#uptime").waitFor();
    assert.equal(await languageOf(page), "fr");
  }));

test("browser language: the chooser keeps the page", () =>
  guests.visit({}, async (page) => {
    // A form's answer cannot be asked for again, what has happened is not done twice: then it is the page nearest.
    const chosen = async (language, at, selector) => {
      await choose(page, language);
      await page.locator(`html[lang=${language}]`).waitFor();
      await page.locator(selector).first().waitFor();
      assert.equal(new URL(page.url()).pathname, at);
      assert.deepEqual(parametersOf(page).target, language);
      assert.equal(parametersOf(page).dst ?? "", at === "/flogout.html" ? "" : wanted);
    };
    await holdBack(page);
    await page.goto(`${portal.url}login?dst=${urlEscape(wanted)}`);
    await chosen("lv", "/login", "#username");
    await logIn(page, "wrong");
    await page.locator("#error strong").waitFor();
    await chosen("ja", "/login", "#username");
    await logIn(page);
    await page.locator("#go[href]").waitFor();
    await page.goto(`${portal.url}alogin?dst=${urlEscape(wanted)}`);
    await chosen("de", "/alogin", "#go[href]");
    await page.goto(`${portal.url}status?dst=${urlEscape(wanted)}`);
    await chosen("ar", "/status", "#uptime");
    await page.locator("summary").last().click();
    await page.locator("#idle").selectOption("900");
    await page.locator("#idle + button").click();
    await page.locator("[role=status] b").waitFor();
    await chosen("es", "/set", "[role=status] b");
    assert.equal(await page.locator("[role=status] b").innerText(), "15m");
    await page.goto(`${portal.url}status?target=es`);
    await page.locator("form[action^=logout] button").click();
    await page.locator("#user").waitFor();
    await chosen("fr", "/flogout.html", "main a.button");
    await page.locator("main a.button").click();
    await page.locator("#username").waitFor();
    assert.equal(await languageOf(page), "fr");
  }));

test("browser language: without JavaScript the chooser does it all", () =>
  guests.visit({ javaScriptEnabled: false, locale: "de" }, async (page) => {
    await page.goto(`${portal.url}login?dst=${urlEscape(wanted)}`);
    assert.equal(await languageOf(page), "en");
    await choose(page, "lv");
    assert.equal(await languageOf(page), "lv");
    assert.deepEqual(parametersOf(page), { dst: wanted, target: "lv" });
  }));

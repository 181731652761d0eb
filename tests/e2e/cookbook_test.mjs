// The recipes of docs/cookbook.md, carried out as they are written: commands, changes, build, linter, and then what a
// guest sees of it.

import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, before, test } from "node:test";
import { fileURLToPath } from "node:url";

import { assertAccessible, shoot } from "./browser.mjs";
import { enter, heading, startGuests } from "./guests.mjs";
import { eventually, user } from "./portal.mjs";

const root = path.join(path.dirname(fileURLToPath(import.meta.url)), "../..");
const bin = path.join(process.env.HOTSPOT_BUILD_DIR, "bin");

// The blocks of commands and of changes, in order, by the recipe's title.
const recipes = new Map(fs.readFileSync(path.join(root, "docs/cookbook.md"), "utf8").split(/^## /m).slice(1)
  .map((text) => [text.slice(0, text.indexOf("\n")), [...text.matchAll(/^```(\w+)\n([^]*?)^```$/gm)]]));

let top;
before(() => { top = fs.mkdtempSync(path.join(os.tmpdir(), "hotspot-cookbook-")); });
after(() => fs.rmSync(top, { recursive: true, force: true }));

function run(directory, program, args, options = {}) {
  const ran = spawnSync(program, args, { cwd: directory, encoding: "utf8", ...options });
  assert.equal(ran.status, 0, `${program}: ${ran.error ?? ""}${ran.stdout}${ran.stderr}`);
  return ran.stdout;
}

// Carries out a recipe beside a running portal, whose page directory becomes what comes out.
function carryOut(title, portal, pages) {
  const copy = fs.mkdtempSync(path.join(top, "pages-"));
  fs.cpSync(path.join(root, "pages"), copy, { recursive: true, filter: (name) => path.basename(name) !== "node_modules" });
  // The administrator of a portal has nothing to say about its socket.
  const commands = `hotspotctl() { '${bin}/hotspotctl' --socket '${portal.file("admin.sock")}' "$@"; }\n`;
  for (const [, kind, text] of recipes.get(title)) {
    if (kind === "sh") run(copy, "bash", ["-euo", "pipefail", "-c", commands + text]);
    else if (kind === "diff") run(copy, "patch", ["-p0"], { input: text });
    else assert.fail(`${title}: a block of ${kind}`);
  }
  run(copy, process.execPath, ["build.mjs", pages], { env: { ...process.env, HOTSPOT_NPM_DIR: process.env.HOTSPOT_PAGES_NPM_DIR } });
  run(copy, path.join(bin, "hotspot-lint"), [pages]);
}

const seen = new Set();
const recipe = (title, action) => {
  seen.add(title);
  test(`cookbook: ${title}`, async () => {
    assert.ok(recipes.has(title), title);
    const pages = fs.mkdtempSync(path.join(top, "built-"));
    const guests = await startGuests({ manager: { "html-dir": `${pages}/` }, web: { "html-dir": `${pages}/` }, profile: ["--session-time", "3600"] });
    try {
      carryOut(title, guests.portal, pages);
      await action(guests, guests.portal, pages);
    } finally {
      await guests.stop();
    }
  });
};

recipe("Your name, your colours, your logo", async (guests, portal) => {
  for (const [colorScheme, colour] of [["light", "rgb(122, 31, 92)"], ["dark", "rgb(240, 168, 216)"]]) {
    await guests.visit({ colorScheme }, async (page) => {
      await page.goto(`${portal.url}login`);
      assert.equal(await page.locator("header p").innerText(), "Harbour Caf\u00e9");
      const shown = await page.locator("#login button").evaluate((button) => getComputedStyle(button).backgroundColor);
      assert.equal(shown, colour);
      assert.match(await page.locator("header path").getAttribute("d"), /^M4 10h13/);
      await page.getByText("About this network").click();
      await page.getByText("It is free for our guests, two hours a day.").waitFor();
      await assertAccessible(page, colorScheme);
      await shoot(page, `cookbook-branding-${colorScheme}`);
    });
  }
});

recipe("Terms and conditions", async (guests, portal, pages) => {
  for (const javaScriptEnabled of [true, false]) {
    assert.deepEqual(fs.readdirSync(pages).filter((name) => !name.includes(".")), ["de"]);
    await guests.visit({ javaScriptEnabled, width: 320 }, async (page, { sent }) => {
      await page.goto(`${portal.url.replace("http:", "https:")}login?dst=http%3A%2F%2Fwww.example.com%2F`);
      await enter(page, user.password);
      const box = page.locator("#login").getByLabel("I accept the terms of use");
      assert.equal(await box.evaluate((input) => input.validity.valueMissing), true);
      assert.deepEqual(sent, []);
      await page.locator("#login").getByRole("link", { name: "Terms of use" }).click();
      await heading(page, "Terms of use");
      assert.equal(new URL(page.url()).pathname, "/terms.html");
      await page.locator("nav a[lang=de]").click();
      await heading(page, "Nutzungsbedingungen");
      await shoot(page, "cookbook-terms-320");
      await page.locator("nav a[lang=en]").click();
      await heading(page, "Terms of use");
      await page.locator("main a.button").click();
      await heading(page, "Log in");
      assert.match(page.url(), /dst=http/);
      await box.check();
      await enter(page, user.password);
      await heading(page, "You are logged in");
      assert.deepEqual([...sent[0].keys()], ["username", "password"]);
    });
  }
});

recipe("Vouchers only", (guests, portal) =>
  guests.visit({}, async (page) => {
    await page.goto(`${portal.url}login`);
    assert.equal(await page.locator("input:visible").count(), 1);
    await page.getByLabel("Voucher code").fill("h3px-9nrc 4tdm");
    await page.keyboard.press("Enter");
    await heading(page, "Your session");
    portal.ctl(["session", "end", "--user", "H3PX"]);
  }));

recipe("An advertisement", (guests, portal) =>
  guests.visit({}, async (page) => {
    const profile = JSON.parse(portal.ctl(["--json", "profile", "list"])).find(({ name }) => name === "default");
    assert.equal(profile["advert-interval"], 600);
    portal.ctl(["profile", "set", "default", "--advert-interval", "1"]);
    await page.goto(`${portal.url}login`);
    await enter(page, user.password);
    await heading(page, "Your session");
    await eventually("the status page tells of the advertisement", async () => {
      await page.reload();
      return (await page.locator("a[href^=advert]").count()) > 0;
    }, 60000);
    await page.locator("a[href^=advert]").first().click();
    await page.getByText("The bakery next door pays for this network.").waitFor();
    await page.locator("a[href='http://sponsor.example.com/']").waitFor();
  }));

recipe("Other languages", (guests, portal, pages) =>
  guests.visit({ locale: "it" }, async (page) => {
    assert.deepEqual(fs.readdirSync(pages).filter((name) => !name.includes(".")), ["de", "es", "fr", "it"]);
    await page.goto(`${portal.url}login`);
    await heading(page, "Accedi");
    await page.locator("nav a[lang=it]").getByText("Italiano").waitFor();
    assert.equal(await page.locator("nav a[lang=ja]").count(), 0);
  }));

test("cookbook: every recipe is tested", () => assert.deepEqual([...recipes.keys()].sort(), [...seen].sort()));

// The portal in a real browser, on a phone's width and a desk's. Screenshots go to build/.../screenshots.

import assert from "node:assert/strict";
import fs from "node:fs";
import { createRequire } from "node:module";
import path from "node:path";
import { after, before, test } from "node:test";

import { eventually, Portal, sleep, user } from "./portal.mjs";

const require = createRequire(path.join(process.env.HOTSPOT_NPM_DIR, "package.json"));
const { chromium } = require("playwright-core");
const screenshots = path.join(process.env.HOTSPOT_BUILD_DIR, "screenshots");
const wanted = "http://www.example.com/news";

let portal;
let browser;
before(async () => {
  fs.mkdirSync(screenshots, { recursive: true });
  fs.rmSync(path.join(screenshots, "failed.png"), { force: true });
  portal = await Portal.start({
    manager: { trial: true, "location-name": "Harbour Caf\u00e9" },
    profile: ["--session-time", "3600"],
  });
  // Every name leads to the portal's web server, as if every request were held back.
  const rules = [`MAP *:80 127.0.0.1:${portal.port}`, `MAP *:443 127.0.0.1:${portal.tlsPort}`];
  browser = await chromium.launch({
    executablePath: process.env.HOTSPOT_CHROMIUM ?? "/usr/bin/chromium",
    args: ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
      "--disable-background-networking", "--disable-component-update", "--disable-sync",
      `--host-resolver-rules=${rules.join(", ")}`],
  });
});
after(async () => {
  await browser?.close();
  await portal?.stop();
});

// A visit in a window of its own. `seen` gathers what must stay empty (script errors, requests to other
// hosts) and the bodies that forms sent.
async function visit(options, action) {
  const { width = 1280, ...context } = options;
  const window = await browser.newContext({
    viewport: { width, height: width < 600 ? 640 : 800 }, ignoreHTTPSErrors: true, ...context,
  });
  const page = await window.newPage();
  page.setDefaultTimeout(15000);
  const seen = { errors: [], strangers: [], sent: [] };
  page.on("pageerror", (error) => seen.errors.push(error.message));
  page.on("console", (line) => {
    if (line.type() === "error") seen.errors.push(line.text());
  });
  page.on("request", (request) => {
    if (request.method() === "POST") seen.sent.push(new URLSearchParams(request.postData() ?? ""));
    const own = new URL(request.url()).host === new URL(portal.url).host;
    if (!own && request.url() !== wanted && !request.url().startsWith("data:")) {
      seen.strangers.push(request.url());
    }
  });
  try {
    await action(page, seen);
    assert.deepEqual(seen.errors, []);
    assert.deepEqual(seen.strangers, []);
  } catch (error) {
    await page.screenshot({ path: path.join(screenshots, "failed.png") });
    throw error;
  } finally {
    for (const name of [user.name, "trial"]) portal.ctl(["session", "end", "--user", name]);
    await window.close();
  }
}

async function shoot(page, name) {
  const overflow = await page.evaluate(
    () => document.documentElement.scrollWidth - document.documentElement.clientWidth);
  assert.ok(overflow <= 0, `${name} is ${overflow} pixels too wide`);
  await page.screenshot({ path: path.join(screenshots, `${name}.png`), fullPage: true });
}

async function enter(page, password) {
  await page.getByLabel("User name").fill(user.name);
  await page.getByLabel("Password").fill(password);
  await page.getByRole("button", { name: "Log in" }).click();
}

// Waits for the page with this heading, its scripts run.
async function heading(page, text) {
  await page.getByRole("heading", { level: 1, name: text, exact: true }).waitFor();
  await page.waitForLoadState("load");
}

for (const [width, colorScheme] of [[320, "light"], [1280, "dark"]]) {
  test(`browser: from a held-back page through the login to the session, ${width} pixels`, () =>
    visit({ width, colorScheme }, async (page, seen) => {
      await page.goto(wanted);
      await heading(page, "Log in");
      assert.ok(page.url().startsWith(`${portal.url}login?dst=`), page.url());
      await page.getByText(wanted).waitFor();
      assert.equal(await page.evaluate(() => document.activeElement.id), "username");
      await shoot(page, `login-${width}`);

      await enter(page, "wrong");
      await heading(page, "Not logged in");
      assert.notEqual(await page.getByRole("alert").textContent(), "");
      assert.equal(await page.getByLabel("User name").inputValue(), user.name);
      assert.equal(await page.evaluate(() => document.activeElement.id), "password");
      await shoot(page, `wrong-password-${width}`);

      await enter(page, user.password);
      await heading(page, "You are logged in");
      const onward = page.getByRole("link", { name: "Go on now" });
      assert.equal(await onward.getAttribute("href"), wanted);
      await shoot(page, `logged-in-${width}`);
      assert.equal(seen.sent.length, 2);
      for (const sent of seen.sent) assert.match(sent.get("password"), /^[0-9a-f]{32}$/);

      await page.getByRole("link", { name: "Your session" }).click();
      await heading(page, "Your session");
      assert.equal(page.url(), `${portal.url}status`);
      assert.match(await page.locator("#uptime").textContent(), /^\d+s$/);
      await eventually("the uptime grows", async () => {
        await page.getByRole("link", { name: "Refresh" }).click();
        return (await page.locator("#uptime").textContent()) !== "0s";
      });
      await shoot(page, `status-${width}`);

      await page.getByLabel(/seconds without traffic/).fill("300");
      await page.getByRole("button", { name: "Set" }).click();
      await heading(page, "Saved");
      await page.getByText("after 5m without traffic").waitFor();
      await shoot(page, `saved-${width}`);

      await page.getByRole("link", { name: "Your session" }).click();
      await page.getByRole("button", { name: "Log out" }).click();
      await heading(page, "You are logged out");
      await shoot(page, `logged-out-${width}`);
      await page.getByRole("link", { name: "Log in again" }).click();
      await heading(page, "Log in");
    }));
}

test("browser: it goes on to the address by itself, and stays where that leads back", () =>
  visit({}, async (page) => {
    await page.goto(wanted);
    await enter(page, user.password);
    await heading(page, "You are logged in");
    // Nothing opens the way in this test: the page asked for is held back once more.
    await page.waitForURL(wanted);
    await heading(page, "You are logged in");
    let reloads = 0;
    page.on("framenavigated", () => reloads++);
    await sleep(3500);
    assert.equal(reloads, 0);
    assert.equal(await page.locator("#status").getAttribute("href"), `${portal.url}status`);
  }));

test("browser: without an address it goes on to the session", () =>
  visit({}, async (page) => {
    await page.goto(`${portal.url}login`);
    await enter(page, user.password);
    await heading(page, "Your session");
    assert.equal(page.url(), `${portal.url}status`);
  }));

const notOfTheWeb = ["javascript:document.title='run'", " javascript:document.title='run'",
  "data:text/html,<script>document.title='run'</script>", "file:///etc/passwd", "//www.example.com/",
  "http:javascript", "https:///x", "http://\\www.example.com"];

test("browser: an address that is not one of the web is shown but never a link", () =>
  visit({}, async (page) => {
    for (const address of notOfTheWeb) {
      await page.goto(`${portal.url}login?dst=${encodeURIComponent(address)}`);
      if (await page.getByLabel("Password").count() > 0) await enter(page, user.password);
      await heading(page, "You are logged in");
      await page.getByText("is not a web address and is not opened").waitFor();
      assert.equal(await page.locator("#go").isVisible(), false, address);
      assert.equal(await page.locator("#go").getAttribute("href"), null, address);
      assert.equal(await page.title(), "You are logged in", address);
    }
    await shoot(page, "refused-address-1280");
  }));

test("browser: the redirect page does not go to an address that is not one of the web", () =>
  visit({}, async (page) => {
    await page.goto(`${portal.url}login`);
    await enter(page, user.password);
    await heading(page, "Your session");
    for (const address of notOfTheWeb) {
      // No advertisement is due, so the page that leads on to the address is the answer.
      const asked = `${portal.url}advert?dst=${encodeURIComponent(address)}`;
      await page.goto(asked);
      await heading(page, "One moment");
      await page.getByText("is not a web address and is not opened").waitFor();
      assert.equal(await page.locator("#go").getAttribute("href"), null, address);
      assert.equal(await page.title(), "Hotspot", address);
      assert.equal(page.url(), new URL(asked).href);
    }
  }));

test("browser: an advertisement's page leads on to addresses of the web alone", () =>
  visit({}, async (page) => {
    const advertise = (...options) => portal.ctl(["profile", "set", "default", ...options]);
    advertise("--advert-url", "http://sponsor.example.org/", "--advert-interval", "1");
    try {
      await page.goto(`${portal.url}login`);
      await enter(page, user.password);
      await heading(page, "Your session");
      for (const [address, links] of [[wanted, 1], [notOfTheWeb[0], 0], [notOfTheWeb.at(-1), 0]]) {
        await eventually("an advertisement is due", async () => {
          await page.goto(`${portal.url}status`);
          return await page.getByRole("link", { name: "See the sponsor's page" }).count() > 0;
        });
        await page.goto(`${portal.url}advert?dst=${encodeURIComponent(address)}`);
        await heading(page, "From our sponsor");
        assert.equal(await page.getByRole("link", { name: "Open the page" }).count(), 1);
        assert.equal(await page.getByRole("link", { name: "Go on" }).count(), links, address);
      }
    } finally {
      advertise("--advert-url", "", "--advert-interval", "0");
    }
  }));

test("browser: a trial by the button", () =>
  visit({ width: 320 }, async (page) => {
    await page.goto(`${portal.url}login`);
    await page.getByRole("button", { name: "Try it for free" }).click();
    await heading(page, "Your session");
    assert.equal(await page.locator("dd").first().textContent(), "trial");
  }));

test("browser: without JavaScript a password goes over HTTPS only", () =>
  visit({ width: 320, javaScriptEnabled: false }, async (page, seen) => {
    await page.goto(`${portal.url}login`);
    await page.locator("noscript .error").waitFor();
    assert.equal(await page.getByRole("button", { name: "Log in" }).isDisabled(), true);
    await shoot(page, "no-script-320");
    await page.goto(`${portal.url.replace("http:", "https:")}login`);
    await enter(page, user.password);
    await heading(page, "Your session");
    assert.equal(seen.sent.length, 1);
    assert.equal(seen.sent[0].get("password"), user.password);
  }));

for (const javaScriptEnabled of [true, false]) {
  test(`browser: a device is remembered on request alone, ${javaScriptEnabled ? "with" : "without"} JavaScript`, () =>
    visit({ javaScriptEnabled }, async (page) => {
      const logOut = async (box) => {
        await heading(page, "Your session");
        if (box) await page.getByLabel("Remember this device").check();
        await page.getByRole("button", { name: "Log out" }).click();
        await heading(page, "You are logged out");
        await page.getByRole("link", { name: "Log in again" }).click();
      };
      await page.goto(`${javaScriptEnabled ? portal.url : portal.url.replace("http:", "https:")}login`);
      await enter(page, user.password);
      await logOut(false);
      await heading(page, "Log in");
      await enter(page, user.password);
      await logOut(true);
      await heading(page, "Your session");
    }));
}

test("browser: going back to the login page asks for a new challenge", () =>
  visit({}, async (page) => {
    await page.goto(`${portal.url}login`);
    await enter(page, "wrong");
    await heading(page, "Not logged in");
    await page.goBack();
    await heading(page, "Log in");
    await enter(page, user.password);
    await heading(page, "Your session");
  }));

// The portal in a real browser, on a phone's width and a desk's. Screenshots go to build/.../screenshots.

import assert from "node:assert/strict";
import { after, before, test } from "node:test";

import { shoot } from "./browser.mjs";
import { enter, heading, holdBack, startGuests } from "./guests.mjs";
import { eventually, sleep, urlEscape, user } from "./portal.mjs";

const wanted = "http://www.example.com/news";

let guests;
let portal;
before(async () => {
  guests = await startGuests({
    manager: { trial: true, "location-name": "Harbour Caf\u00e9" },
    profile: ["--session-time", "3600"],
  }, [wanted]);
  portal = guests.portal;
});
after(() => guests?.stop());
const visit = (options, action) => guests.visit(options, action);

for (const [width, colorScheme] of [[320, "light"], [1280, "dark"]]) {
  test(`browser: from a held-back page through the login to the session, ${width} pixels`, () =>
    visit({ width, colorScheme }, async (page, seen) => {
      await holdBack(page);
      await page.goto(wanted);
      await heading(page, "Log in");
      assert.ok(page.url().startsWith(`${portal.url}login?dst=`), page.url());
      await page.getByText(wanted).waitFor();
      await page.locator("#username:focus").waitFor();
      await shoot(page, `login-${width}`);

      await enter(page, "wrong");
      await heading(page, "Not logged in");
      assert.notEqual(await page.getByRole("alert").textContent(), "");
      assert.equal(await page.getByLabel("User name").inputValue(), user.name);
      await page.locator("#password:focus").waitFor();
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
      assert.equal(page.url(), `${portal.url}status?dst=${urlEscape(wanted)}`);
      assert.equal(await page.getByRole("link", { name: "Go on to the page you wanted" }).getAttribute("href"), wanted);
      assert.match(await page.locator("#uptime").textContent(), /^\d+ sec$/);
      await eventually("the uptime grows", async () =>
        (await page.locator("#uptime").textContent()) !== "0 sec");
      await shoot(page, `status-${width}`);

      await page.getByText("Idle time-out").click();
      await page.getByLabel(/without traffic/).selectOption("300");
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
    const status = page.getByRole("link", { name: "Your session" });
    assert.equal(await status.getAttribute("href"), `${portal.url}status?dst=${urlEscape(wanted)}`);
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
      if (await page.getByLabel("Password", { exact: true }).count() > 0) await enter(page, user.password);
      await heading(page, "You are logged in");
      await page.getByText("is not a web address and is not opened").waitFor();
      assert.equal(await page.locator("#go").isVisible(), false, address);
      assert.equal(await page.locator("#go").getAttribute("href"), null, address);
      assert.equal(await page.title(), "You are logged in - Harbour Caf\u00e9", address);
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
      assert.equal(await page.title(), "One moment - Harbour Caf\u00e9", address);
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
          return await page.getByRole("link", { name: "See the sponsor’s page" }).count() > 0;
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

test("browser: the session's page follows the session without being loaded anew", async () => {
  portal.ctl(["profile", "set", "default", "--status-refresh", "5"]);
  try {
    await guests.visit({}, async (page, seen, window) => {
      await page.goto(`${portal.url}login`);
      await enter(page, user.password);
      await heading(page, "Your session");
      await page.getByText("Idle time-out").click();
      await page.locator("#idle").selectOption("900");
      await page.evaluate(() => { globalThis.isTheSame = true; });
      await page.getByRole("link", { name: "Refresh" }).click();
      await page.getByText("Up to date.").waitFor();
      assert.equal(await page.locator("progress").count(), 1);
      assert.ok(await page.locator("progress").evaluate((bar) => bar.value > 0.9 * bar.max && bar.max <= 3600));
      assert.equal(await page.locator("#idle").inputValue(), "900");
      assert.equal(await page.evaluate(() => globalThis.isTheSame), true);
      // Whoever is logged out by somebody else is led to the login page; with the cookie it would log in again.
      await window.clearCookies();
      portal.ctl(["session", "end", "--user", user.name]);
      await heading(page, "Log in");
    });
  } finally {
    portal.ctl(["profile", "set", "default", "--status-refresh", "60"]);
  }
});

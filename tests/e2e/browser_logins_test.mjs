// Every way to log in, in a real browser: what is sent, and what is not.

import assert from "node:assert/strict";
import { after, before, test } from "node:test";

import { shoot } from "./browser.mjs";
import { enter, heading, startGuests } from "./guests.mjs";
import { user } from "./portal.mjs";

// As it is printed; the account behind it.
const voucher = "AB12-CD34-EF56";
const account = { name: "AB12", password: "CD34EF56" };

let guests;
let portal;
before(async () => {
  guests = await startGuests({ manager: { trial: true }, profile: ["--session-time", "3600"] });
  portal = guests.portal;
  portal.ctl(["user", "add", account.name], `${account.password}\n`);
});
after(() => guests?.stop());
const secure = () => portal.url.replace("http:", "https:");

// A test of a visit, behind which nothing secret may have been in an address or in a page.
const login = (what, options, action) => test(`browser login: ${what}`, () =>
  guests.visit(options, async (page, seen, window) => {
    const pages = [];
    page.on("response", async (response) => pages.push(await response.text().catch(() => "")));
    await action(page, seen, window);
    for (const secret of [user.password, voucher, account.password, "md5="]) {
      for (const address of seen.addresses) assert.ok(!decodeURIComponent(address).includes(secret), address);
      assert.ok(!pages.some((text) => text.includes(`value="${secret}"`)), secret);
    }
    for (const secret of [user.password, account.password]) {
      for (const text of pages) assert.ok(!text.includes(secret), secret);
    }
  }));

login("a password over HTTP goes as a digest alone", {}, async (page, seen) => {
  await page.goto(`${portal.url}login`);
  await enter(page, user.password);
  await heading(page, "Your session");
  assert.equal(seen.sent.length, 1);
  assert.deepEqual([...seen.sent[0].keys()], ["username", "password"]);
  assert.match(seen.sent[0].get("password"), /^[0-9a-f]{32}$/);
});

login("a password over HTTPS goes as it is", {}, async (page, seen) => {
  await page.goto(`${secure()}login`);
  await enter(page, user.password);
  await heading(page, "Your session");
  assert.equal(seen.sent[0].get("password"), user.password);
});

login("over HTTP a password goes as a digest also where it might go as it is", {}, async (page, seen) => {
  portal.ctl(["server", "set", "plain-passwd=yes"]);
  try {
    await page.goto(`${portal.url}login`);
    await enter(page, user.password);
    await heading(page, "Your session");
    assert.match(seen.sent[0].get("password"), /^[0-9a-f]{32}$/);
  } finally {
    portal.ctl(["server", "set", "plain-passwd=no"]);
  }
});

for (const missing of ["md5.js", "portal.js"]) {
  login(`nothing is sent when ${missing} cannot be had`, {}, async (page, seen) => {
    portal.ctl(["server", "set", "plain-passwd=yes"]);
    try {
      await page.route(`**/${missing}`, (route) => route.fulfill({ contentType: "text/javascript", body: "" }));
      await page.goto(`${portal.url}login`);
      await page.getByLabel("User name").fill(user.name);
      await page.getByLabel("Password", { exact: true }).fill(user.password);
      await page.keyboard.press("Enter");
      const button = page.getByRole("button", { name: "Log in" });
      if (missing === "md5.js") await page.getByText("The password cannot be protected at the moment.").waitFor();
      else assert.equal(await button.isDisabled(), true);
      assert.deepEqual(seen.sent, []);
    } finally {
      portal.ctl(["server", "set", "plain-passwd=no"]);
    }
  });
}

for (const typed of [voucher, ` ${voucher.toLowerCase()} `, "ab12 cd34\u2013EF56", "\uFF21\uFF2212\uFF0Dcd34ef56"]) {
  login(`a voucher typed as ${JSON.stringify(typed)}`, { width: 320 }, async (page, seen) => {
    await page.goto(`${portal.url}login`);
    await page.getByText("I have a voucher").click();
    await page.getByLabel("Voucher code").fill(typed);
    if (typed === voucher) await shoot(page, "voucher-320");
    await page.getByRole("button", { name: "Use the voucher" }).click();
    await heading(page, "Your session");
    assert.equal(seen.sent[0].get("username"), account.name);
    assert.match(seen.sent[0].get("password"), /^[0-9a-f]{32}$/);
    portal.ctl(["session", "end", "--user", account.name]);
  });
}

login("a voucher that is not right leads to its empty field", {}, async (page) => {
  await page.goto(`${portal.url}login`);
  await page.getByText("I have a voucher").click();
  await page.getByLabel("Voucher code").fill(`${voucher}x`);
  await page.keyboard.press("Enter");
  await heading(page, "Not logged in");
  assert.equal(await page.getByLabel("User name").inputValue(), "");
  assert.equal(await page.getByLabel("Voucher code").inputValue(), "");
  await page.locator("#code:focus").waitFor();
  await page.getByLabel("Voucher code").fill(voucher);
  await page.keyboard.press("Enter");
  await heading(page, "Your session");
  portal.ctl(["session", "end", "--user", account.name]);
});

login("a voucher over HTTPS", {}, async (page, seen) => {
  await page.goto(`${secure()}login`);
  await page.getByText("I have a voucher").click();
  await page.getByLabel("Voucher code").fill(voucher.toLowerCase());
  await page.keyboard.press("Enter");
  await heading(page, "Your session");
  assert.equal(seen.sent[0].get("password"), account.password);
  portal.ctl(["session", "end", "--user", account.name]);
});

login("a voucher over HTTPS without JavaScript, in two fields", { javaScriptEnabled: false }, async (page) => {
  await page.goto(`${secure()}login`);
  await page.getByText("I have a voucher").click();
  await page.getByLabel("Voucher code", { exact: true }).fill(account.name);
  await page.getByLabel("The code from its fifth character on").fill(account.password);
  await page.getByRole("button", { name: "Use the voucher" }).click();
  await heading(page, "Your session");
  portal.ctl(["session", "end", "--user", account.name]);
});

for (const javaScriptEnabled of [true, false]) {
  const how = javaScriptEnabled ? "with" : "without";

  login(`a trial by one button, ${how} JavaScript`, { width: 320, javaScriptEnabled }, async (page, seen) => {
    await page.goto(`${portal.url}login`);
    // Once a day for each client: the second has used it up.
    await page.getByRole("button", { name: "Try it for free" }).click();
    await heading(page, javaScriptEnabled ? "Your session" : "Not logged in");
    assert.deepEqual(seen.sent.map(String), ["username=trial"]);
    if (!javaScriptEnabled) return page.getByText("You have used your free trial").waitFor();
    await page.getByText("This device", { exact: true }).click();
    assert.equal(await page.locator("#user").innerText(), "Free trial");
  });

  login(`a device is remembered on request alone, ${how} JavaScript`, { javaScriptEnabled }, async (page) => {
    const logOut = async (box) => {
      await heading(page, "Your session");
      if (box) await page.getByLabel("Remember this device").check();
      await page.getByRole("button", { name: "Log out" }).click();
      await heading(page, "You are logged out");
      await page.getByRole("link", { name: "Log in again" }).click();
    };
    await page.goto(`${javaScriptEnabled ? portal.url : secure()}login`);
    await enter(page, user.password);
    await logOut(false);
    await heading(page, "Log in");
    await enter(page, user.password);
    await logOut(true);
    await heading(page, "Your session");
  });
}

// The assistants of phones keep nothing, open nothing beside their one window, and close when that shows a new page.
login("in a window that has no storage, opens no other and shows no dialog", { width: 320 }, async (page, seen, window) => {
  await page.addInitScript(() => {
    const missing = (name) => () => {
      console.error(`${name} is asked for`);
      throw new Error(`there is no ${name}`);
    };
    for (const name of ["localStorage", "sessionStorage", "indexedDB", "caches", "cookieStore"]) {
      Object.defineProperty(globalThis, name, { get: missing(name) });
    }
    Object.defineProperty(Document.prototype, "cookie", { get: missing("cookie"), set: missing("cookie") });
    for (const name of ["open", "alert", "confirm", "prompt", "print"]) globalThis[name] = missing(name);
  });
  const opened = [];
  window.on("page", (other) => opened.push(other.url()));
  const loaded = [];
  page.on("request", (request) => {
    if (request.isNavigationRequest()) loaded.push(`${request.method()} ${new URL(request.url()).pathname}`);
  });
  await page.goto(`${portal.url}login`);
  await enter(page, "wrong");
  await heading(page, "Not logged in");
  await enter(page, user.password);
  await heading(page, "Your session");
  assert.deepEqual(loaded, ["GET /login", "POST /login", "POST /login", "GET /status"]);
  await page.getByRole("link", { name: "Refresh" }).click();
  await page.getByText("Up to date.").waitFor();
  await page.getByText("Idle time-out").click();
  await page.getByRole("button", { name: "Set" }).click();
  await heading(page, "Saved");
  await page.getByRole("link", { name: "Your session" }).click();
  await page.getByRole("button", { name: "Log out" }).click();
  await heading(page, "You are logged out");
  assert.deepEqual(opened, []);
});

login("without JavaScript a password goes over HTTPS only", { width: 320, javaScriptEnabled: false }, async (page, seen) => {
  await page.goto(`${portal.url}login`);
  await page.locator("noscript .error").first().waitFor();
  await page.getByLabel("User name").fill(user.name);
  await page.getByLabel("Password", { exact: true }).fill(user.password);
  await page.keyboard.press("Enter");
  assert.equal(await page.getByRole("button", { name: "Log in" }).count(), 0);
  await shoot(page, "no-script-320");
  assert.deepEqual(seen.sent, []);
  await page.getByRole("link", { name: "Secure login page" }).first().click();
  await enter(page, user.password);
  await heading(page, "Your session");
  assert.equal(seen.sent.length, 1);
  assert.equal(seen.sent[0].get("password"), user.password);
});

login("without JavaScript a password goes over HTTP by a button that says so", { javaScriptEnabled: false }, async (page, seen) => {
  portal.ctl(["server", "set", "plain-passwd=yes"]);
  try {
    await page.goto(`${portal.url}login`);
    await page.getByLabel("User name").fill(user.name);
    await page.getByLabel("Password", { exact: true }).fill(user.password);
    await page.getByRole("button", { name: "Log in unprotected" }).first().click();
    await heading(page, "Your session");
    assert.equal(seen.sent[0].get("password"), user.password);
  } finally {
    portal.ctl(["server", "set", "plain-passwd=no"]);
  }
});

login("by keyboard alone, with the focus always to be seen", {}, async (page) => {
  const focused = () => page.evaluate(() => {
    const { outlineStyle, outlineWidth } = getComputedStyle(document.activeElement);
    return { isPage: document.activeElement === document.body, what: document.activeElement.id || document.activeElement.textContent.trim(),
      isSeen: outlineStyle !== "none" && parseFloat(outlineWidth) >= 2 };
  });
  await page.goto(`${portal.url}login`);
  await page.locator("#username:focus").waitFor();
  await page.keyboard.type(user.name);
  await page.keyboard.press("Tab");
  assert.deepEqual(await focused(), { isPage: false, what: "password", isSeen: true });
  await page.keyboard.type("wrong");
  await page.keyboard.press("Enter");
  await heading(page, "Not logged in");
  await page.locator("#password:focus").waitFor();
  assert.deepEqual(await focused(), { isPage: false, what: "password", isSeen: true });
  await page.keyboard.type(user.password);
  await page.keyboard.press("Tab");
  await page.keyboard.press("Tab");
  assert.deepEqual(await focused(), { isPage: false, what: "Log in", isSeen: true });
  await page.keyboard.press("Enter");
  await heading(page, "Your session");
  const stops = [];
  for (;;) {
    await page.keyboard.press("Tab");
    const { isPage, what, isSeen } = await focused();
    if (isPage || stops.includes(what)) break;
    assert.ok(isSeen, what);
    stops.push(what);
    assert.ok(stops.length < 40);
  }
  for (const stop of ["refresh", "Log out", "Idle time-out", "English", "日本語"]) assert.ok(stops.includes(stop), `${stop}: ${stops}`);
});

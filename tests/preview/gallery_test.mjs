// The gallery in a real browser: frames for both devices, values that are edited, files that are saved, the linter's
// findings, and pages that try to reach beyond their frame.

import assert from "node:assert/strict";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, before, test } from "node:test";

import { assertAccessible, openWindow, shoot, startBrowser } from "../e2e/browser.mjs";
import { eventually } from "../e2e/portal.mjs";
import { Preview } from "./preview.mjs";

const kPatienceMs = 120000;
const shipped = path.join(process.env.HOTSPOT_BUILD_DIR, "share/hotspot/pages");

let browser;
let gallery;  // of the pages that ship
let scratch;
before(async () => {
  scratch = fs.mkdtempSync(path.join(os.tmpdir(), "hotspot-gallery-"));
  browser = await startBrowser(["MAP * ~NOTFOUND", "EXCLUDE *.localhost", "EXCLUDE 127.0.0.1"]);
  gallery = await Preview.start(shipped);
});
after(async () => {
  await browser?.close();
  await gallery?.stop();
  fs.rmSync(scratch, { recursive: true, force: true });
});

const kSmall = `<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><title>T</title></head>
<body><h1>PAGE for $(username)</h1></body></html>
`;

// A page directory of its own for a test, with the pages that guests need; each says its name.
function pagesIn(name, more = {}) {
  const directory = path.join(scratch, name);
  fs.mkdirSync(directory, { recursive: true });
  for (const page of ["login", "alogin", "status", "logout", "redirect", "error"]) {
    fs.writeFileSync(path.join(directory, `${page}.html`), kSmall.replace("PAGE", page));
  }
  for (const [file, text] of Object.entries(more)) fs.writeFileSync(path.join(directory, file), text);
  return directory;
}

async function open(url, options = {}) {
  const window = await openWindow(browser, options);
  window.setDefaultTimeout(kPatienceMs);
  const page = await window.newPage();
  page.complaints = [];
  page.on("pageerror", (error) => page.complaints.push(error.message));
  await page.goto(url);
  return page;
}

const card = (page, state) => page.locator(`article[data-state="${state}"]`);
// What is in a frame is used by the keyboard: the driver does not find the place of a scaled frame's button.
const inFrame = (where, device) => where.frameLocator(`.device.${device} iframe`);

async function see(locator, text) {
  await eventually(`"${text}" is seen`, async () => (await locator.textContent().catch(() => null))?.includes(text),
    kPatienceMs);
}

test("gallery: every state is listed, with frames of both widths side by side", async () => {
  const page = await open(gallery.url);
  const listed = await (await page.request.get(`${gallery.url}/api/gallery`)).json();
  await card(page, "login").waitFor();
  assert.equal(await page.locator("article").count(), listed.states.length);
  for (const [state, heading] of [["login", "Log in"], ["status-blocked", "Your session"], ["login-in-de", "Anmelden"]]) {
    await card(page, state).scrollIntoViewIfNeeded();
    const widths = [];
    for (const device of ["phone", "desktop"]) {
      const frame = inFrame(card(page, state), device);
      await see(frame.locator("h1"), heading);
      widths.push(await frame.locator("html").evaluate(() => innerWidth));
    }
    assert.deepEqual(widths, [375, 1280]);
    const boxes = await card(page, state).locator(".device").evaluateAll((all) => all.map((each) => each.getBoundingClientRect().toJSON()));
    assert.ok(boxes[0].right < boxes[1].left && Math.abs(boxes[0].top - boxes[1].top) < 2, "side by side");
  }
  await shoot(page, "preview-gallery-1280");
  await assertAccessible(page, "gallery");
  assert.deepEqual(page.complaints, []);
  await page.context().close();
});

test("gallery: frames far from the window are not kept", async () => {
  const page = await open(gallery.url);
  await inFrame(card(page, "login"), "phone").locator("h1").waitFor();
  await card(page, "status").scrollIntoViewIfNeeded();
  await inFrame(card(page, "status"), "phone").locator("h1").waitFor();
  await eventually("the first one's frames go", async () => await card(page, "login").locator("iframe").count() === 0, kPatienceMs);
  await page.context().close();
});

test("gallery: what is looked for stays, and the groups with it", async () => {
  const page = await open(gallery.url);
  await card(page, "login").waitFor();
  await page.locator("#find").fill("invalid mac");
  assert.equal(await page.locator("article:visible").count(), 1);
  assert.equal(await page.locator("#groups li:visible").count(), 1);
  await page.locator("#find").fill("nothing like it");
  assert.ok(await page.getByText("No state matches.").isVisible());
  await page.context().close();
});

test("gallery: a language is that of every state, and goes with the links", async () => {
  const page = await open(gallery.url);
  await card(page, "login").waitFor();
  await page.locator("#language").selectOption("de");
  await see(inFrame(card(page, "login"), "desktop").locator("h1"), "Anmelden");
  await page.locator('a[data-state="login"]').click();
  await see(inFrame(page, "phone").locator("h1"), "Anmelden");
  assert.match(page.url(), /\/state\/login\?target=de$/);
  await page.getByRole("link", { name: "All states" }).click();
  await see(inFrame(card(page, "login"), "desktop").locator("h1"), "Anmelden");
  await page.context().close();
});

test("gallery: colours are those of the frames alone", async () => {
  const page = await open(gallery.url, { colorScheme: null });
  const dark = () => inFrame(card(page, "login"), "phone").locator("html").evaluate(
    () => matchMedia("(prefers-color-scheme: dark)").matches);
  await inFrame(card(page, "login"), "phone").locator("h1").waitFor();
  assert.equal(await dark(), false);
  await page.locator("#colours").selectOption("dark");
  await eventually("the frames are dark", dark, kPatienceMs);
  assert.equal(await page.evaluate(() => matchMedia("(prefers-color-scheme: dark)").matches), false);
  assert.match(page.url(), /#dark$/);
  await page.reload();
  await eventually("the address keeps it", () => dark().catch(() => false), kPatienceMs);
  await page.context().close();
});

test("gallery: an edited value changes frames, variables and address", async () => {
  const page = await open(`${gallery.url}/state/status`);
  const variable = (name) => page.locator(`tr[data-variable="${name}"] td`);
  await see(variable("username"), "anna");
  await see(variable("uptime"), "10m");
  await page.getByText("The guest's session", { exact: true }).waitFor();
  await page.getByLabel("User name", { exact: true }).fill("<b>bo & co</b>");
  await page.getByLabel("Logged in for, seconds").fill("7200");
  await see(variable("username"), "<b>bo & co</b>");
  await see(variable("uptime"), "2h");
  await see(inFrame(page, "phone").locator("body"), "<b>bo & co</b>");
  await eventually("the address has it", () => page.url().includes("username=%3Cb%3Ebo+%26+co%3C%2Fb%3E&uptime=7200"), kPatienceMs);

  // The address alone brings it back, and each value can be undone.
  await page.reload();
  await see(variable("username"), "<b>bo & co</b>");
  await page.locator(".row.changed", { hasText: "User name" }).getByRole("button").click();
  await see(variable("username"), "anna");
  await eventually("only the other is left", () => new URL(page.url()).search === "?uptime=7200", kPatienceMs);
  await shoot(page, "preview-state-1280");
  await assertAccessible(page, "state");
  assert.deepEqual(page.complaints, []);
  await page.context().close();
});

test("gallery: a value that cannot be is said, and the frames stay", async () => {
  const page = await open(`${gallery.url}/state/status`);
  await inFrame(page, "phone").locator("h1").waitFor();
  await page.getByLabel("Logged in for, seconds").fill("soon");
  await see(page.getByRole("alert").first(), "uptime cannot be \"soon\"");
  assert.ok(await inFrame(page, "phone").locator("h1").isVisible());
  await page.getByLabel("Logged in for, seconds").fill("60");
  await eventually("it is well again", async () => !await page.locator(".pages .problem").isVisible(), kPatienceMs);
  await page.context().close();
});

test("gallery: links and forms in a frame lead on", async () => {
  const page = await open(`${gallery.url}/state/login-address`);
  const phone = inFrame(page, "phone");
  await phone.getByLabel("User name").fill("whoever");
  await phone.getByRole("textbox", { name: "Password" }).fill("whatever");
  // Before the page's scripts have run the button is disabled, and a key pressed on it does nothing.
  const logIn = phone.getByRole("button", { name: "Log in", exact: true });
  await eventually("the scripts have run", () => logIn.isEnabled(), kPatienceMs);
  await logIn.press("Enter");
  await see(phone.locator("h1"), "You are logged in");
  await phone.getByRole("link", { name: "Your session and log out" }).press("Enter");
  await see(phone.locator("h1"), "Your session");
  await phone.getByRole("button", { name: "Log out" }).press("Enter");
  await see(phone.locator("h1"), "You are logged out");
  await see(inFrame(page, "desktop").locator("h1"), "Log in");
  await page.context().close();
});

test("gallery: a page that leads on by itself is held, a click goes on", async () => {
  const page = await open(`${gallery.url}/state/alogin-address`);
  const phone = inFrame(page, "phone");
  const left = [];
  page.on("response", (response) => { if (response.status() === 204) left.push(response.url()); });
  await eventually("it wants to lead on", () => left.some((url) => url.includes("/_preview/leave/http://www.example.com/news")), kPatienceMs);
  await see(phone.locator("h1"), "You are logged in");
  await phone.getByRole("link", { name: "Go on now" }).press("Enter");
  await see(phone.locator("body"), "Here the guest leaves the portal for");
  await see(phone.locator("body"), "http://www.example.com/news?a=1&b=2");
  await page.context().close();
});

test("gallery: a saved file is shown at once, and what the linter says of it", async () => {
  const directory = pagesIn("saved");
  const own = await Preview.start(directory);
  const page = await open(own.url);
  await see(inFrame(card(page, "login"), "phone").locator("h1"), "login for");
  await see(page.locator("#live"), "reloads by itself");
  const findings = page.locator("#findings");

  fs.writeFileSync(path.join(directory, "login.html"), kSmall.replace("PAGE", "Changed").replace("username", "usrname"));
  for (const device of ["phone", "desktop"]) {
    await see(inFrame(card(page, "login"), device).locator("h1"), "Changed for $(usrname)");
  }
  await see(findings, "unknown-variable");
  await see(findings, "login.html");
  await see(findings.locator("summary"), "1 error,");
  await see(page.locator("#live"), "reloaded: login.html");
  await assertAccessible(page, "gallery with findings");

  fs.writeFileSync(path.join(directory, "login.html"), kSmall.replace("PAGE", "Mended"));
  await see(inFrame(card(page, "login"), "phone").locator("h1"), "Mended for");
  await eventually("the finding is gone", async () => !(await findings.textContent()).includes("unknown-variable"), kPatienceMs);

  // The place in the gallery stays when a frame comes anew, also when states are added.
  await card(page, "status").scrollIntoViewIfNeeded();
  await inFrame(card(page, "status"), "phone").locator("h1").waitFor();
  const top = await page.evaluate(() => scrollY);
  assert.ok(top > 500);
  fs.writeFileSync(path.join(directory, "status.html"), kSmall.replace("PAGE", "Moved"));
  await see(inFrame(card(page, "status"), "phone").locator("h1"), "Moved for");
  assert.ok(Math.abs(await page.evaluate(() => scrollY) - top) < 200);
  fs.mkdirSync(path.join(directory, "de"));
  fs.writeFileSync(path.join(directory, "de/login.html"), kSmall.replace("PAGE", "Hallo"));
  await eventually("the new language is offered", async () => await page.locator('#language option[value="de"]').count() === 1, kPatienceMs);
  await card(page, "login-in-de").scrollIntoViewIfNeeded();
  await see(inFrame(card(page, "login-in-de"), "phone").locator("h1"), "Hallo for");
  assert.deepEqual(page.complaints, []);

  await own.stop();
  await see(page.locator("#live"), "hotspot-preview does not answer");
  await page.context().close();
});

test("gallery: a page's script stays in its frame", async () => {
  const hostile = `<!DOCTYPE html><meta charset="utf-8"><h1>hostile</h1><script>
    const tried = (name, action) => { try { action(); document.body.dataset[name] = "done"; } catch { document.body.dataset[name] = "refused"; } };
    tried("parent", () => { parent.document.title = "taken"; });
    tried("top", () => { top.location = "http://portal.example.net/"; });
    tried("popup", () => { if (!window.open("/status")) throw 0; });
    fetch("${gallery.url}/api/gallery").then((answer) => answer.text()).then(() => { document.body.dataset.read = "done"; },
      () => { document.body.dataset.read = "refused"; });
    const image = new Image();
    image.onerror = () => { document.body.dataset.image = "refused"; };
    image.src = "http://tracker.example.org/x.png";
  </script>`;
  const own = await Preview.start(pagesIn("hostile", { "login.html": hostile }));
  const page = await open(`${own.url}/state/login`);
  const body = inFrame(page, "phone").locator("body");
  for (const name of ["parent", "top", "popup", "read", "image"]) {
    await eventually(name, async () => await body.getAttribute(`data-${name}`) === "refused", kPatienceMs);
  }
  assert.equal(await page.title(), "Fresh - Log in");
  assert.equal(page.url(), `${own.url}/state/login`);
  await own.stop();
  await page.context().close();
});

test("gallery: hostile names of files and hostile values are texts", async () => {
  const name = "<img src=x onerror=document.title='taken'>.html";
  const own = await Preview.start(pagesIn("names", { [name]: "<p>$(usrname)</p>" }));
  const page = await open(`${own.url}/?target=%3Cimg%20src=x%20onerror=document.title=1%3E`);
  await see(page.locator("#findings"), name);
  await see(page.locator("#content"), name);
  assert.equal(await page.locator("#findings img, #content img").count(), 0);
  await page.goto(`${own.url}/state/login?username=${encodeURIComponent("<img src=x onerror=document.title=1>")}`);
  await see(page.locator('tr[data-variable="username"] td'), "<img src=x");
  assert.equal(await page.locator("#content img").count(), 0);
  assert.notEqual(await page.title(), "1");
  assert.deepEqual(page.complaints, []);
  await own.stop();
  await page.context().close();
});

test("gallery: it fits a phone, dark, and is used by keyboard alone", async () => {
  const page = await open(gallery.url, { width: 375, colorScheme: "dark" });
  await inFrame(card(page, "login"), "phone").locator("h1").waitFor();
  await shoot(page, "preview-gallery-375-dark");
  await assertAccessible(page, "gallery on a phone");
  // Frames of the gallery are pictures: the keyboard goes from state to state.
  await page.locator('a[data-state="login"]').focus();
  await page.keyboard.press("Tab");
  assert.equal(await page.evaluate(() => document.activeElement.dataset.state), "login-address");
  await page.keyboard.press("Enter");
  await see(page.locator("h1"), "With an address to go on to");
  await inFrame(page, "phone").locator("h1").waitFor();
  await shoot(page, "preview-state-375-dark");
  await assertAccessible(page, "state on a phone");
  await page.goBack();
  await card(page, "login").waitFor();
  await page.context().close();
});

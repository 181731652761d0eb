// Advertisements: due after a while, shown, and not due for another while.

import assert from "node:assert/strict";
import { after, before, test } from "node:test";

import { logIn } from "./conversations.mjs";
import { intercepted, request } from "./http_client.mjs";
import { eventually, Portal, urlEscape } from "./portal.mjs";

const sponsors = ["http://sponsor.example.org/one?a=1&b=2", "http://sponsor.example.org/two"];

let portal;
before(async () => {
  portal = await Portal.start({
    profile: ["--advert-url", sponsors[0], "--advert-url", sponsors[1], "--advert-interval", "3"],
  });
});
after(() => portal?.stop());

const client = "127.0.6.1";
const get = (path) => request(portal.port, { client, path });
const pending = async () => (await get("/status")).body.includes("See the sponsor’s page");

test("advertisement: the cycle of due, held back, shown and due again", async () => {
  await logIn(portal, client);
  assert.equal(await pending(), false);
  await eventually("an advertisement is due", pending);

  const held = await intercepted(portal.advertPort, "www.example.com", { client, path: "/news" });
  assert.equal(held.status, 200);
  assert.match(held.body, /<h1>Please look at this first<\/h1>/);
  const leads = `${portal.url}advert?dst=${urlEscape("http://www.example.com/news")}`;
  assert.ok(held.body.includes(`data-to="${urlEscape(leads)}"`), held.body);
  assert.ok(held.body.includes(`<noscript><p><a class="button" href="${leads}">`), held.body);

  const shown = await get(`/advert?dst=${urlEscape("http://www.example.com/news")}`);
  assert.equal(shown.status, 200);
  assert.match(shown.body, /<h1>From our sponsor<\/h1>/);
  assert.ok(shown.body.includes(`data-href="${urlEscape(sponsors[0])}"`), shown.body);
  assert.ok(shown.body.includes(`data-href="${urlEscape("http://www.example.com/news")}"`));
  assert.equal(await pending(), false);

  await eventually("an advertisement is due again", pending);
  assert.ok((await get("/advert")).body.includes(`data-href="${urlEscape(sponsors[1])}"`));
});

test("advertisement: who does not look in time is blocked until he does", async () => {
  const late = "127.0.6.3";
  portal.ctl(["profile", "set", "default", "--advert-interval", "1", "--advert-look-time", "1"]);
  await logIn(portal, late);
  const waits = async () => (await request(portal.port, { client: late, path: "/status" })).body
    .includes("Your access waits until you have looked");
  await eventually("the client is blocked", waits);
  portal.ctl(["profile", "set", "default", "--advert-interval", "3600"]);
  const shown = await request(portal.port, { client: late, path: "/advert" });
  assert.match(shown.body, /<h1>From our sponsor<\/h1>/);
  assert.equal(await waits(), false);
});

test("advertisement: a client without a session is led to the login page", async () => {
  const answer = await request(portal.port, { client: "127.0.6.2", path: "/advert" });
  assert.equal(answer.status, 200);
  assert.match(answer.body, /<h1>Please log in<\/h1>/);
  assert.match(answer.body, /<meta http-equiv="refresh" content="0; url=login">/);
});

test("after-login page: the flagged listener leads to it, and it shows the way on", async () => {
  const flagged = await intercepted(portal.afterLoginPort, "www.example.com", { client, path: "/x" });
  assert.equal(flagged.status, 200);
  const leads = `${portal.url}alogin?dst=${urlEscape("http://www.example.com/x")}`;
  assert.ok(flagged.body.includes(`data-to="${urlEscape(leads)}"`), flagged.body);
  const page = await get(`/alogin?dst=${urlEscape("http://www.example.com/x")}`);
  assert.match(page.body, /<h1>You are logged in<\/h1>/);
  assert.ok(page.body.includes(`data-to="${urlEscape("http://www.example.com/x")}"`));
});

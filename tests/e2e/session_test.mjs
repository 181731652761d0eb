// A session: what its page shows, the idle time-out, logging out.

import assert from "node:assert/strict";
import { after, before, test } from "node:test";

import { isLoggedIn, logIn, logOutBody } from "./conversations.mjs";
import { form, request } from "./http_client.mjs";
import { textOf } from "./login_form.mjs";
import { Portal } from "./portal.mjs";

let portal;
before(async () => {
  portal = await Portal.start({ profile: ["--session-time", "3600", "--status-refresh", "30"] });
});
after(() => portal?.stop());

const get = (client, path) => request(portal.port, { client, path });
const post = (client, path, fields) =>
  request(portal.port, { client, path, method: "POST", body: form(fields) });

test("session: without one the status page leads to the login page", async () => {
  const answer = await get("127.0.3.1", "/status");
  assert.equal(answer.status, 302);
  assert.equal(answer.headers.location, `${portal.url}login`);
  assert.equal((await post("127.0.3.1", "/status", {})).status, 303);
});

test("session: the status page shows times and refreshes itself", async () => {
  const client = "127.0.3.2";
  await logIn(portal, client);
  const { body, headers } = await get(client, "/status");
  assert.equal(headers["cache-control"], "no-cache");
  assert.match(body, /<dt>Time left<\/dt><dd><span data-live="time-left" [^>]*>(1h|59m\d+s)<\/span>/);
  assert.match(body, /<meta http-equiv="refresh" content="30">/);
  assert.doesNotMatch(body, /\$\(/);
});

test("session: uptime grows", async () => {
  const client = "127.0.3.3";
  await logIn(portal, client);
  const end = Date.now() + 10000;
  let uptime = "0s";
  while (uptime === "0s" && Date.now() < end) uptime = textOf((await get(client, "/status")).body, "uptime");
  assert.match(uptime, /^[1-9]\d*s$/);
});

test("session: the idle time-out is set and shown", async () => {
  const client = "127.0.3.4";
  await logIn(portal, client);
  const saved = await post(client, "/set", { "idle-timeout": "300" });
  assert.equal(saved.status, 200);
  assert.match(saved.body, /logged out after <b>5m<\/b> without traffic/);
  const { body } = await get(client, "/status");
  assert.match(body, /name="idle-timeout">\s*<option value="300">5m \(as now\)<\/option>/);
});

test("session: an idle time-out that is no number changes nothing", async () => {
  const client = "127.0.3.5";
  await logIn(portal, client);
  await post(client, "/set", { "idle-timeout": "300" });
  assert.equal((await post(client, "/set", { "idle-timeout": "abc" })).status, 200);
  assert.match((await get(client, "/status")).body, /<option value="300">5m \(as now\)/);
});

test("session: a setting without a session is refused with a way to log in", async () => {
  const answer = await post("127.0.3.6", "/set", { "idle-timeout": "300" });
  assert.equal(answer.status, 200);
  assert.match(answer.body, /<h1>Not saved<\/h1>/);
  assert.match(answer.body, /<a class="button" href="login">Log in<\/a>/);
});

test("session: logging out ends it", async () => {
  const client = "127.0.3.7";
  await logIn(portal, client);
  const answer = await post(client, "/logout", {});
  assert.equal(answer.status, 200);
  assert.match(answer.body, /<h1>You are logged out<\/h1>/);
  assert.equal(textOf(answer.body, "user"), "guest");
  assert.equal(await isLoggedIn(portal, client), false);
});

test("session: logging out without one says so", async () => {
  const answer = await get("127.0.3.8", "/logout");
  assert.equal(answer.status, 200);
  assert.match(answer.body, /<h1>You are not logged in<\/h1>/);
});

test("session: the client stays logged in until it ends, the cookie logs it in again", async () => {
  const client = "127.0.3.9";
  const { cookie } = await logIn(portal, client);
  await get(client, "/logout");
  const again = await request(portal.port, { client, path: "/login", headers: { Cookie: cookie } });
  assert.match(again.body, /<h1>You are logged in<\/h1>/);
});

test("session: logging out with erase-cookie makes the cookie worthless", async () => {
  const client = "127.0.3.10";
  const { cookie } = await logIn(portal, client);
  await post(client, "/logout", { "erase-cookie": "true" });
  const again = await request(portal.port, { client, path: "/login", headers: { Cookie: cookie } });
  assert.match(again.body, /<h1>Log in<\/h1>|<h1>Not logged in<\/h1>/);
  assert.equal(await isLoggedIn(portal, client), false);
});

test("session: the log-out form forgets the device unless its box is ticked", async () => {
  for (const [remember, client, lands] of [
    [false, "127.0.3.13", /<h1>Log in<\/h1>/], [true, "127.0.3.14", /<h1>You are logged in<\/h1>/]]) {
    const { cookie } = await logIn(portal, client);
    const body = logOutBody((await get(client, "/status")).body, { remember });
    await request(portal.port, { client, path: "/logout", method: "POST", body });
    assert.equal(await isLoggedIn(portal, client), false);
    const again = await request(portal.port, { client, path: "/login", headers: { Cookie: cookie } });
    assert.match(again.body, lands, body);
  }
});

test("session: a cookie of another client is worthless", async () => {
  const { cookie } = await logIn(portal, "127.0.3.11");
  await request(portal.port, { client: "127.0.3.12", path: "/login", headers: { Cookie: cookie } });
  assert.equal(await isLoggedIn(portal, "127.0.3.12"), false);
});

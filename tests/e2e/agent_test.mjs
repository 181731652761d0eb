// The agent program: it gets the page variables as lines instead of pages.

import assert from "node:assert/strict";
import { after, before, test } from "node:test";

import { openLogin } from "./conversations.mjs";
import { form, intercepted, request } from "./http_client.mjs";
import { chapAnswer } from "./login_form.mjs";
import { Portal, user } from "./portal.mjs";

let portal;
before(async () => { portal = await Portal.start(); });
after(() => portal?.stop());

const client = "127.0.8.1";
const headers = { "User-Agent": "LinkAgent/1.0" };

// The lines of an agent page as an object.
function variables(answer) {
  assert.equal(answer.headers["content-type"], "application/vnd.quarnett.hotspot");
  const lines = answer.body.split("\r\n");
  assert.equal(lines.pop(), "");
  const found = lines.map((line) => line.match(/^([^:]+): (.+)$/s).slice(1));
  assert.deepEqual(found.map(([name]) => name), found.map(([name]) => name).sort());
  return Object.fromEntries(found);
}

test("agent: the login page is a list of variables", async () => {
  const answer = await request(portal.port, { client, headers, path: "/login" });
  assert.equal(answer.headers["cache-control"], undefined);
  const seen = variables(answer);
  assert.equal(seen["user-agent"], "LinkAgent");
  assert.equal(seen["logged-in"], "no");
  assert.equal(seen["link-login"], `${portal.url}login`);
  assert.match(seen["chap-id"], /^\\[0-7]{3}$/);
  assert.ok(!("username" in seen), "a variable without a value is left out");
  assert.ok(!("popup" in seen));
});

test("agent: a held-back request is a redirect with the list as its body", async () => {
  const answer = await intercepted(portal.port, "www.example.com", { client, headers, path: "/a" });
  assert.equal(answer.status, 302);
  assert.equal(answer.headers["cache-control"], "no-store");
  const seen = variables(answer);
  assert.equal(seen["link-orig"], "http://www.example.com/a");
  assert.equal(seen["link-redirect"], answer.headers.location);
});

test("agent: it is told by the name alone, in this spelling", async () => {
  for (const [name, is] of [["LinkAgent", true], ["LinkAgent/2 (x)", true], ["linkagent/1.0", false],
    ["LinkAgent 1.0", false], ["Mozilla/5.0 LinkAgent/1.0", false]]) {
    const answer = await request(portal.port,
      { client: "127.0.8.2", path: "/login", headers: { "User-Agent": name } });
    assert.equal(answer.headers["content-type"] !== "text/html", is, name);
  }
});

test("agent: a wrong password and then the right one", async () => {
  const send = async (password) => {
    const loginForm = await openLogin(portal, client);
    return request(portal.port, {
      client, headers, method: "POST", path: "/login",
      body: form({ username: user.name, password: chapAnswer(loginForm, password) }),
    });
  };
  const refused = variables(await send("wrong"));
  assert.equal(refused["logged-in"], "no");
  assert.equal(refused["error-type"], "invalid-username");
  assert.ok(refused.error);

  const answer = await send(user.password);
  assert.match(answer.headers["set-cookie"][0], /^loginID=/);
  const seen = variables(answer);
  assert.equal(seen["logged-in"], "yes");
  assert.equal(seen.username, user.name);
  assert.equal(seen["link-redirect"], `${portal.url}status`);

  const status = variables(await request(portal.port, { client, headers, path: "/status" }));
  assert.match(status.uptime, /^\d+s$/);
});

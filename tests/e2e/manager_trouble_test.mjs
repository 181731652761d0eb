// The manager killed, gone, silent; and back again.

import assert from "node:assert/strict";
import { after, before, test } from "node:test";

import { isLoggedIn, logIn, openLogin, sendLogin } from "./conversations.mjs";
import { intercepted, request } from "./http_client.mjs";
import { eventually, Portal, sleep, user } from "./portal.mjs";

let portal;
// What the web server calls the portal meanwhile.
const kAway = "wifi.example.net:8080";
before(async () => { portal = await Portal.start({ web: { "dns-name": kAway } }); });
after(() => portal?.stop());

// The manager cannot name the page directory then; the web server's own setting does.
function assertUnavailable(answer, text) {
  assert.equal(answer.status, 200);
  assert.match(answer.body, text);
  assert.doesNotMatch(answer.body, /<form/);
}

// The real module asks for the status of many clients at once, and all replies come together.
test("manager: paused and going on, it never gives a client another one's page", async () => {
  const guests = Array.from({ length: 12 }, (_, i) => ({ client: `127.0.6.${i + 1}`, name: `guest-${i + 1}x` }));
  for (const { client, name } of guests) {
    portal.ctl(["user", "add", name], `${user.password}\n`);
    assert.equal((await sendLogin(portal, client, await openLogin(portal, client), { name })).status, 200);
  }
  let own = 0;
  for (let round = 0; round < 8; round++) {
    portal.manager.process.kill("SIGSTOP");
    const asked = guests.flatMap((guest) => [guest, guest]).sort(() => Math.random() - 0.5)
      .map(async ({ client, name }) => ({ name, answer: await request(portal.port, { client, path: "/status" }) }));
    await sleep(100);
    portal.manager.process.kill("SIGCONT");
    for (const { name, answer } of await Promise.all(asked)) {
      const shown = answer.body.match(/guest-\d+x/g) ?? [];
      assert.ok(shown.every((each) => each === name), `${name} was shown ${shown}`);
      // Where the machine is busy the manager's reply may come too late: then it is a redirect.
      if (answer.status === 200) assert.notEqual(shown.length, 0, answer.body);
      own += shown.length > 0;
    }
  }
  assert.ok(own > 0);
});

test("manager: killed and started again, it knows the session and the login cookie", async () => {
  const client = "127.0.4.1";
  const { cookie } = await logIn(portal, client);
  assert.equal(await portal.manager.stop("SIGKILL"), "SIGKILL");
  await portal.startManager();
  assert.equal(await isLoggedIn(portal, client), true);

  await request(portal.port, { client, path: "/logout" });
  assert.equal(await portal.manager.stop("SIGKILL"), "SIGKILL");
  await portal.startManager();
  assert.equal(await isLoggedIn(portal, client), false);
  const again = await request(portal.port, { client, path: "/login", headers: { Cookie: cookie } });
  assert.match(again.body, /<h1>You are logged in<\/h1>/);
  assert.equal(await isLoggedIn(portal, client), true);
});

test("manager: while it is gone every request is answered at once, and all is well when it is back",
  async () => {
    const client = "127.0.4.2";
    await logIn(portal, client);
    assert.equal(await portal.manager.stop("SIGKILL"), "SIGKILL");

    const start = Date.now();
    assertUnavailable(await request(portal.port, { client, path: "/login" }),
      /The hotspot is out of order at the moment/);
    assertUnavailable(await intercepted(portal.port, "www.example.com", { client }),
      /hotspot manager is not reachable/);
    assertUnavailable(await request(portal.port, { client, path: "/logout" }), /Not logged out/);
    const status = await request(portal.port, { client, path: "/status" });
    assert.equal(status.status, 302);
    assert.equal(status.headers.location, `http://${kAway}/login`);
    assert.equal((await request(portal.port, { client, method: "PUT", path: "/login" })).status, 503);
    assert.ok(Date.now() - start < 10000);

    await portal.startManager();
    assert.equal(await isLoggedIn(portal, client), true);
  });

test("manager: while it is silent pages come within their time and other requests are served",
  async () => {
    const client = "127.0.4.3";
    await logIn(portal, client);
    portal.manager.process.kill("SIGSTOP");
    try {
      // Many clients wait long; theirs is the login command.
      let waiting = 0;
      const logins = [];
      for (let i = 1; i <= 40; i++) {
        waiting++;
        logins.push(request(portal.port, { client: `127.0.5.${i}`, path: "/login" })
          .finally(() => waiting--));
      }

      const start = Date.now();
      const held = await intercepted(portal.port, "www.example.com", { client });
      const took = Date.now() - start;
      assertUnavailable(held, /hotspot manager did not answer in time/);
      assert.ok(took >= 900 && took < 10000, `${took} ms`);

      // What needs no manager does not wait for it.
      const refused = await request(portal.port, { client, path: "/..%2fsecret" });
      assert.equal(refused.status, 404);
      assert.equal(waiting, 40);

      portal.manager.process.kill("SIGCONT");
      for (const answer of await Promise.all(logins)) {
        assert.equal(answer.status, 200);
        assert.match(answer.body, /<h1>Log in<\/h1>/);
      }
    } finally {
      portal.manager.process.kill("SIGCONT");
    }
    await eventually("the session is back", () => isLoggedIn(portal, client));
    await openLogin(portal, "127.0.4.4");
  });

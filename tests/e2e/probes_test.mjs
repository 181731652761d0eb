// How devices find out that they are behind the portal, and that they no longer are: each question of
// tests/data/probes.json, played through the real web server by a device that keeps its connections.

import assert from "node:assert/strict";
import fs from "node:fs";
import net from "node:net";
import { after, before, test } from "node:test";
import tls from "node:tls";

import { isLoggedIn, logIn } from "./conversations.mjs";
import { readLoginForm } from "./login_form.mjs";
import { Portal, urlEscape } from "./portal.mjs";
import { Device, docs, probes, realAnswer, requestText, verdict, written } from "./probes.mjs";
import { wholeDirectory } from "./replayed.mjs";

const plain = probes.filter((probe) => probe.url.startsWith("http://"));
const secure = probes.filter((probe) => probe.url.startsWith("https://"));
// A device for each question; the nets keep those that log in apart.
const addressOf = (probe, net24 = "127.0.9") => `${net24}.${probes.indexOf(probe) + 1}`;

let portal;
before(async () => { portal = await Portal.start(); });
after(() => portal?.stop());

// Asks on a device of its own.
async function ask(port, probe, options = {}) {
  const device = new Device(port, options.address ?? addressOf(probe));
  try {
    return await device.ask(requestText(probe, options));
  } finally {
    device.end();
  }
}

// What no answer to a question of another host may leave behind.
function leavesNothing(answer, what) {
  assert.equal(answer.headers.connection, "close", what);
  assert.match(answer.headers["cache-control"] ?? "", /(^|, )no-store$/, what);
  for (const name of ["expires", "etag", "last-modified", "age", "strict-transport-security", "alt-svc"]) {
    assert.equal(answer.headers[name], undefined, what);
  }
}

// The firewall between guests and the Internet: decides about a connection when it begins, as firewalls do, by
// whether its client is logged in. Beyond it every host of the table answers as it does.
async function startRouter() {
  const open = new Set();
  const keep = (socket) => {
    open.add(socket);
    socket.on("error", () => socket.destroy());
    socket.on("close", () => open.delete(socket));
    return socket;
  };
  const beyond = net.createServer((socket) => {
    let input = "";
    keep(socket).setEncoding("latin1");
    socket.on("data", (piece) => {
      input += piece;
      for (let end = input.indexOf("\r\n\r\n"); end >= 0; end = input.indexOf("\r\n\r\n")) {
        const request = input.slice(0, end);
        input = input.slice(end + 4);
        const [, target] = request.match(/^GET (\S+) HTTP/);
        const [, host] = request.match(/\r\nHost: (\S+)/);
        const probe = probes.find(({ url }) => url === `http://${host}${target}`);
        socket.write(probe ? realAnswer(probe) : "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
      }
    });
  });
  const router = net.createServer({ pauseOnConnect: true }, async (socket) => {
    const client = keep(socket).remoteAddress;
    const free = await isLoggedIn(portal, client);
    const port = free ? beyond.address().port : portal.port;
    const onward = keep(net.connect({ host: "127.0.0.1", port, localAddress: client }));
    socket.pipe(onward).pipe(socket);
    socket.resume();
  });
  for (const server of [beyond, router]) {
    await new Promise((resolve) => { server.listen(0, "127.0.0.1", resolve); });
  }
  return {
    port: router.address().port,
    stop: async () => {
      for (const socket of open) socket.destroy();
      for (const server of [router, beyond]) await new Promise((resolve) => { server.close(resolve); });
    },
  };
}

test("probes: the table has each of the systems, and each record is whole", () => {
  for (const system of [/iOS/, /macOS/, /^Android$/, /Windows 10/, /Windows Vista/, /Firefox/, /ChromeOS/,
    /NetworkManager, Debian/, /NetworkManager, Fedora/, /NetworkManager, Ubuntu/, /Kindle/]) {
    assert.ok(probes.some((probe) => system.test(probe.system)), String(system));
  }
  assert.ok(new Set(probes.filter(({ id }) => id.startsWith("android")).map(({ url }) => new URL(url).host)).size >= 4);
  assert.equal(new Set(probes.map(({ id }) => id)).size, probes.length);
  for (const probe of probes) {
    for (const key of ["id", "system", "url", "opensOn", "closes", "source"]) {
      assert.ok(typeof probe[key] === "string" && probe[key] !== "", `${probe.id}: ${key}`);
    }
    const real = { ...probe.online, headers: {}, body: probe.online.body ?? probe.online.contains ?? "" };
    if (probe.online.header) real.headers[probe.online.header[0].toLowerCase()] = probe.online.header[1];
    assert.equal(verdict(probe, real), "online", probe.id);
    assert.equal("then" in probe, probe.opens.length > 0, `${probe.id}: what opens shows something`);
  }
});

test("probes: docs/probes.md has the table of the data", () => {
  const text = fs.readFileSync(docs, "utf8");
  assert.equal(text, written(text), "node tests/e2e/probes.mjs writes it anew");
});

for (const probe of plain) {
  test(`probes: ${probe.id}, captive: the assistant opens and lands on the login page`, async () => {
    for (const keep of [false, true]) {
      const answer = await ask(portal.port, probe, { keep });
      assert.equal(verdict(probe, answer), probe.opens.length > 0 ? "captive" : "failed");
      assert.equal(answer.status, 302);
      const { protocol, host, pathname } = new URL(probe.url);
      assert.equal(answer.headers.location,
        `${portal.url}login?dst=${urlEscape(`${protocol}//${host}${pathname}`)}`);
      assert.notEqual(answer.body, "", "an empty answer counts as the right one with some");
      leavesNothing(answer, probe.id);
    }
    if (!probe.then) return;
    // The assistant's window, which follows the redirect to the portal.
    const shown = await ask(portal.port, probe, { url: probe.then });
    assert.equal(shown.status, 302);
    leavesNothing(shown, probe.id);
    const login = new URL(shown.headers.location);
    const page = await ask(portal.port, probe, { url: login.href });
    assert.equal(page.status, 200);
    assert.ok(readLoginForm(page.body), page.body);
  });
}

test("probes: free: every device that asks again reaches the real host, and its assistant closes", async () => {
  const router = await startRouter();
  const devices = plain.map((probe) => ({ probe, device: new Device(router.port, addressOf(probe, "127.0.10")) }));
  try {
    for (const { probe, device } of devices) {
      const text = requestText(probe, { keep: true });
      assert.notEqual(verdict(probe, await device.ask(text)), "online", probe.id);
      assert.notEqual(verdict(probe, await device.ask(text)), "online", `${probe.id}: nothing has changed yet`);
      await logIn(portal, device.address);
      assert.equal(verdict(probe, await device.ask(text)), "online", probe.id);
      const { connections } = device;
      assert.equal(verdict(probe, await device.ask(text)), "online", probe.id);
      assert.equal(device.connections, connections, "with the real host it keeps its connection");
    }
    assert.ok(devices.length > 15);
  } finally {
    for (const { device } of devices) device.end();
    await router.stop();
  }
});

test("probes: free, but still held back: a page of the portal, never the real answer, and nothing is kept", async () => {
  for (const probe of plain) {
    const address = addressOf(probe, "127.0.11");
    await logIn(portal, address);
    for (const [port, heading] of [[portal.port, "You are logged in"], [portal.advertPort, "Please look at this first"]]) {
      const answer = await ask(port, probe, { address, keep: true });
      assert.equal(answer.status, 200, probe.id);
      assert.ok(answer.body.includes(`<h1>${heading}</h1>`), answer.body);
      assert.notEqual(verdict(probe, answer), "online", probe.id);
      leavesNothing(answer, probe.id);
    }
  }
});

test("probes: the optional pages in place of the redirect never look like the real answer either", async () => {
  const other = await Portal.start({ manager: { "html-dir": wholeDirectory } });
  try {
    for (const probe of plain) {
      const answer = await ask(other.port, probe, { keep: true });
      assert.equal(answer.status, 200, probe.id);
      // ChromeOS opens on a redirect alone: docs/probes.md tells the owner.
      const opens = probe.opens.some(([from]) => from <= 200);
      assert.equal(verdict(probe, answer), opens ? "captive" : "failed", probe.id);
      leavesNothing(answer, probe.id);
    }
  } finally {
    await other.stop();
  }
});

test("probes: without its manager the portal is still seen, and nothing of that is kept", async () => {
  const lonely = await Portal.start({ web: { "dns-name": "portal.example.net" } });
  try {
    await lonely.manager.stop();
    for (const probe of plain) {
      const answer = await ask(lonely.port, probe, { keep: true });
      assert.match(answer.body, /hotspot manager is not reachable/, probe.id);
      assert.notEqual(verdict(probe, answer), "online", probe.id);
      leavesNothing(answer, probe.id);
    }
  } finally {
    await lonely.stop();
  }
});

// How a client that checks certificates fares; resolves to its error's code.
const shakeHands = (port, host, options) => new Promise((resolve, reject) => {
  const socket = tls.connect({ host: "127.0.0.1", port, servername: host, ...options });
  socket.setTimeout(60000, () => socket.destroy(new Error("the handshake hangs")));
  socket.on("secureConnect", () => reject(new Error(`${host}: the portal passes for it`)));
  socket.on("error", (error) => (error.code ? resolve(error.code) : reject(error)));
});

test("probes: a question by HTTPS fails at once, by the certificate or at the port", async () => {
  assert.ok(secure.length >= 2);
  const certificate = fs.readFileSync(portal.file("cert.pem"));
  const closed = await new Promise((resolve) => {
    const server = net.createServer().listen(0, "127.0.0.1", () => {
      const { port } = server.address();
      server.close(() => resolve(port));
    });
  });
  for (const probe of secure) {
    const { host } = new URL(probe.url);
    assert.equal(await shakeHands(portal.tlsPort, host), "DEPTH_ZERO_SELF_SIGNED_CERT", probe.id);
    assert.equal(await shakeHands(portal.tlsPort, host, { ca: certificate }), "ERR_TLS_CERT_ALTNAME_INVALID",
      `${probe.id}: a certificate that is trusted for the portal is not for others`);
    // Where nothing listens, as behind a firewall rule that rejects instead of dropping.
    assert.equal(await shakeHands(closed, host), "ECONNREFUSED", probe.id);
  }
});

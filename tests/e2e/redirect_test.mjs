// Connections that a real firewall rule hands over. Runs in a network namespace of its own, where a link
// leads to a second one with the client in it; no packet leaves the two.

import assert from "node:assert/strict";
import { spawn, spawnSync } from "node:child_process";
import fs from "node:fs";
import path from "node:path";
import { after, before, test } from "node:test";

import { readLoginForm } from "./login_form.mjs";
import { eventually, Portal, urlEscape } from "./portal.mjs";

const kPortal = "198.51.100.1";
const kClient = "198.51.100.2";

function run(command, args, input = "") {
  const ran = spawnSync(command, args, { input, encoding: "utf8" });
  assert.equal(ran.status, 0, `${command} ${args.join(" ")}: ${ran.error ?? ""}${ran.stderr}`);
  return ran.stdout;
}

let guest;
const asGuest = (...command) => run("nsenter", ["--net", "--target", String(guest.pid), ...command]);
const curl = (...args) => asGuest("curl", "--silent", "--show-error", "--max-time", "20", "--noproxy", "*",
  ...args);

// Redirects whatever comes from the client for a port, at any address, to another port of this machine.
const redirect = (ports) => run("nft", ["--file", "-"], `
  table ip hotspot
  delete table ip hotspot
  table ip hotspot {
    chain intercepted {
      type nat hook prerouting priority dstnat
      ${Object.entries(ports).map(([from, to]) => `tcp dport ${from} redirect to :${to}`).join("\n")}
    }
  }
`);

before(async () => {
  guest = spawn("unshare", ["--net", "sleep", "infinity"], { stdio: "ignore" });
  process.on("exit", () => guest.kill("SIGKILL"));
  const own = fs.readlinkSync("/proc/self/ns/net");
  await eventually("the client's namespace", () => fs.readlinkSync(`/proc/${guest.pid}/ns/net`) !== own);
  run("ip", ["link", "set", "lo", "up"]);
  run("ip", ["link", "add", "portal", "type", "veth", "peer", "name", "guest", "netns", String(guest.pid)]);
  run("ip", ["address", "add", `${kPortal}/24`, "dev", "portal"]);
  run("ip", ["link", "set", "portal", "up"]);
  asGuest("ip", "address", "add", `${kClient}/24`, "dev", "guest");
  asGuest("ip", "link", "set", "guest", "up");
  asGuest("ip", "route", "add", "default", "via", kPortal);
});
after(() => guest?.kill("SIGKILL"));

test("redirect rule: the web server is told the original destination, on the right listener", async () => {
  const portal = await Portal.start({
    address: "0.0.0.0",
    web: { module: path.join(process.env.HOTSPOT_BUILD_DIR, "lib/webserver-test-servlet.so") },
  });
  try {
    redirect({ 80: portal.port, 8080: portal.advertPort });
    const seen = (url) => {
      const text = curl(url);
      return ["client", "local", "foreign", "flags", "orig"]
        .map((name) => text.match(new RegExp(`^${name}=(.*)$`, "m"))?.[1] ?? "none").join(" ");
    };
    const redirected = `${kClient} ${kPortal} 1`;
    assert.equal(seen("http://192.0.2.7/news"), `${redirected} 08000000 192.0.2.7:80`);
    assert.equal(seen("http://203.0.113.9/"), `${redirected} 08000000 203.0.113.9:80`);
    assert.equal(seen("http://192.0.2.7:8080/"), `${redirected} 09000000 192.0.2.7:8080`);
    // The portal's own address, through the rule and past it.
    const local = `${kClient} ${kPortal} 0`;
    assert.equal(seen(`http://${kPortal}/`), `${local} 08000000 ${kPortal}:80`);
    assert.equal(seen(`http://${kPortal}:${portal.port}/`), `${local} 00000000 none`);
    assert.equal(seen(`http://${kPortal}:${portal.advertPort}/`), `${local} 01000000 none`);
    // An address that the machine is given later is the portal's own before long.
    const later = "198.51.100.9";
    const named = () => curl("--header", `Host: ${later}`, `http://${kPortal}:${portal.port}/`);
    assert.match(named(), /^foreign=1$/m);
    run("ip", ["address", "add", `${later}/32`, "dev", "portal"]);
    await eventually("the later address is the portal's own", () => /^foreign=0$/m.test(named()), 30000);
  } finally {
    await portal.stop();
  }
});

test("redirect rule: a client that opens any site lands on the login page", async () => {
  const portal = await Portal.start({ address: "0.0.0.0" });
  try {
    redirect({ 80: portal.port, 443: portal.tlsPort });
    const name = new URL(portal.url).hostname;
    for (const scheme of ["http", "https"]) {
      const site = `${scheme}://192.0.2.7/news`;
      const page = curl("--location", "--insecure", "--write-out", "\n%{url_effective}", site,
        "--resolve", `${name}:80:${kPortal}`, "--resolve", `${name}:443:${kPortal}`);
      assert.ok(readLoginForm(page), page);
      assert.equal(page.split("\n").at(-1), `${scheme}://${name}/login?dst=${urlEscape(site)}`);
    }
    const log = portal.web.log();
    assert.ok(log.includes(` ${kClient} http "GET /news HTTP/1.1" 302 `), log);
    assert.ok(log.includes(` ${kClient} http "GET /login HTTP/1.1" 200 `), log);
  } finally {
    await portal.stop();
  }
});

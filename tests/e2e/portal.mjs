// A whole portal for a test: the real manager and the real web server with the real module and pages, on
// loopback ports of their own, with their files in a temporary directory. Nothing is left behind.

import assert from "node:assert/strict";
import { spawn, spawnSync } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";

const build = process.env.HOTSPOT_BUILD_DIR;
assert.ok(build, "HOTSPOT_BUILD_DIR names the build tree");
const program = (name) => path.join(build, "bin", name);

export const user = { name: "guest", password: "gu\u00e9st pass" };

// What a page's "-esc" form makes of a text.
export function urlEscape(text) {
  return [...Buffer.from(text, "utf8")].map((byte) => {
    const c = String.fromCharCode(byte);
    if (/[A-Za-z0-9.-]/.test(c)) return c;
    return c === " " ? "+" : `%${byte.toString(16).toUpperCase().padStart(2, "0")}`;
  }).join("");
}

export const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

// Calls `probe` until it gives something; fails when it has not within the time.
export async function eventually(what, probe, withinMs = 15000) {
  const end = Date.now() + withinMs;
  for (;;) {
    const got = await probe();
    if (got) return got;
    assert.ok(Date.now() < end, `${what}: not within ${withinMs} ms`);
    await sleep(20);
  }
}

// A program that runs until it is stopped; its output goes to a file.
class Service {
  constructor(name, args, dir) {
    this.name = name;
    this.logFile = path.join(dir, `${name}.log`);
    const log = fs.openSync(this.logFile, "a");
    this.process = spawn(program(name), args, { stdio: ["ignore", log, log] });
    fs.closeSync(log);
    this.ended = new Promise((resolve) => {
      this.process.on("error", (error) => resolve(String(error)));
      this.process.on("exit", (code, signal) => {
        this.over = true;
        resolve(signal ?? code);
      });
    });
    this.lastResort = () => this.process.kill("SIGKILL");
    process.on("exit", this.lastResort);
  }

  log() {
    return fs.readFileSync(this.logFile, "utf8");
  }

  async stop(signal = "SIGTERM") {
    if (!this.over) this.process.kill(signal);
    const how = await this.ended;
    process.off("exit", this.lastResort);
    return how;
  }
}

// TOML is close enough to JSON for values of these kinds.
const toml = (settings) =>
  Object.entries(settings).map(([key, value]) => `${key} = ${JSON.stringify(value)}\n`).join("");

// Links name the portal without a port, so a test reads their names and paths but goes to its own ports.
const kName = "portal.example.net";

const kListeners = [
  { tls: false },
  { tls: true },
  { tls: false, flags: 0x01000000 },  // an advertisement is due
  { tls: false, flags: 0x82000000 },  // to the after-login page
];

export class Portal {
  // Starts everything. Of the options, `manager` and `web` are settings beside the usual ones and
  // `profile` lists what `hotspotctl profile set default` is given; `address` is where it listens.
  static async start({ manager = {}, web = {}, profile = [], address = "127.0.0.1" } = {}) {
    const portal = new Portal();
    try {
      await portal.#start(manager, web, profile, address);
    } catch (error) {
      await portal.stop();
      throw error;
    }
    return portal;
  }

  async #start(manager, web, profile, address) {
    this.dir = fs.mkdtempSync(path.join(os.tmpdir(), "hotspot-e2e-"));
    this.file = (name) => path.join(this.dir, name);
    this.#makeCertificate();
    const pages = path.join(build, "share/hotspot/pages/");

    const listeners = kListeners.map((listener) =>
      `\n[[listen]]\n${toml({ address, port: 0, ...listener })}`);
    fs.writeFileSync(this.file("web.toml"), toml({
      module: path.join(build, "lib/hotspot.so"),
      "manager-socket": this.file("portal.sock"),
      certificate: this.file("cert.pem"),
      key: this.file("key.pem"),
      "server-names": [kName],
      "html-dir": pages,
      workers: 2,
      ...web,
    }) + listeners.join(""));
    this.web = new Service("hotspot-web", ["--config", this.file("web.toml")], this.dir);
    const ports = await eventually("hotspot-web listens", () => {
      assert.ok(!this.web.over, this.web.log());
      const found = [...this.web.log().matchAll(/listening on https?:\/\/[\d.]+:(\d+)/g)];
      return found.length === kListeners.length && found.map((match) => Number(match[1]));
    });
    [this.port, this.tlsPort, this.advertPort, this.afterLoginPort] = ports;
    this.url = `http://${kName}/`;

    fs.writeFileSync(this.file("manager.toml"), toml({
      socket: this.file("portal.sock"),
      "admin-socket": this.file("admin.sock"),
      database: this.file("manager.db"),
      "html-dir": pages,
      "dns-name": kName,
      ...manager,
    }));
    await this.startManager();
    // Every client of a test logs in as the same user.
    this.ctl(["profile", "set", "default", "--shared-users", "0", ...profile]);
    this.ctl(["user", "add", user.name], `${user.password}\n`);
  }

  #makeCertificate() {
    const made = spawnSync("openssl", ["req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2",
      "-subj", "/CN=127.0.0.1", "-keyout", this.file("key.pem"), "-out", this.file("cert.pem")]);
    assert.equal(made.status, 0, String(made.stderr));
  }

  async startManager() {
    this.manager =
      new Service("hotspot-manager", ["--config", this.file("manager.toml")], this.dir);
    await eventually("hotspot-manager answers", () => {
      assert.ok(!this.manager.over, this.manager.log());
      return spawnSync(program("hotspotctl"),
        ["--socket", this.file("admin.sock"), "server", "show"]).status === 0;
    });
  }

  // Runs hotspotctl and gives its output.
  ctl(args, input = "") {
    const ran = spawnSync(program("hotspotctl"), ["--socket", this.file("admin.sock"), ...args],
      { input, encoding: "utf8" });
    assert.equal(ran.status, 0, `hotspotctl ${args.join(" ")}: ${ran.stdout}${ran.stderr}`);
    return ran.stdout;
  }

  async stop() {
    if (this.manager && !this.manager.over) this.manager.process.kill("SIGCONT");
    const ends = [await this.web?.stop(), await this.manager?.stop()];
    if (process.env.HOTSPOT_E2E_LOGS) {
      for (const service of [this.web, this.manager]) console.log(service?.log());
    }
    const reports = [this.web, this.manager].map((service) => service?.log() ?? "")
      .filter((log) => log.includes("Sanitizer"));
    fs.rmSync(this.dir, { recursive: true, force: true });
    assert.deepEqual(reports, []);
    return ends;
  }
}

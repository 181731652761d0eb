// The real hotspot-preview, on a port of its own.

import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import path from "node:path";

// hotspot-preview on a directory, until it is stopped.
export class Preview {
  static async start(directory) {
    const preview = new Preview();
    preview.process = spawn(path.join(process.env.HOTSPOT_BUILD_DIR, "bin/hotspot-preview"), [directory, "--port", "0"],
      { stdio: ["ignore", "pipe", "inherit"] });
    preview.ended = new Promise((resolve) => preview.process.on("exit", (code, signal) => resolve(signal ?? code)));
    preview.url = await new Promise((resolve, reject) => {
      let said = "";
      preview.process.stdout.on("data", (data) => {
        said += data;
        const found = said.match(/http:\/\/127\.0\.0\.1:\d+/);
        if (found) resolve(found[0]);
      });
      preview.ended.then((how) => reject(new Error(`hotspot-preview ended: ${how}`)));
    });
    return preview;
  }

  async stop() {
    this.process.kill("SIGTERM");
    assert.equal(await this.ended, 0);
  }
}

// Makes the pictures of the documentation, in the folder of this file: a whole portal in a real browser.
//
//   cmake --build --preset dev && packaging/install-deps.sh docs && cmake --build --preset dev --target docs-images

import { spawnSync } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { fileURLToPath } from "node:url";

import { openWindow, startBrowser } from "../../tests/e2e/browser.mjs";
import { heading, holdBack, startGuests } from "../../tests/e2e/guests.mjs";
import { user } from "../../tests/e2e/portal.mjs";
import { Preview } from "../../tests/preview/preview.mjs";

const here = path.dirname(fileURLToPath(import.meta.url));
const kFrameMs = 1600;
const wanted = "http://www.example.com/news";

const frames = fs.mkdtempSync(path.join(os.tmpdir(), "hotspot-images-"));
const guests = await startGuests({
  manager: { "location-name": "Harbour Caf\u00e9", trial: true },
  profile: ["--session-time", "3600", "--limit-bytes-total", "500000000"],
}, [wanted]);
try {
  await guests.visit({ width: 360, deviceScaleFactor: 2 }, async (page) => {
    const shot = (file) => page.screenshot({ path: file });
    let count = 0;
    const frame = () => shot(path.join(frames, `${count++}.png`));

    await holdBack(page);
    await page.goto(wanted);
    await heading(page, "Log in");
    await shot(path.join(here, "login.png"));
    await frame();
    await page.getByLabel("User name").fill(user.name);
    await page.getByLabel("Password", { exact: true }).fill(user.password);
    await frame();
    await page.keyboard.press("Enter");
    await heading(page, "You are logged in");
    await frame();
    await page.getByRole("link", { name: "Your session" }).click();
    await heading(page, "Your session");
    await shot(path.join(here, "status.png"));
    await frame();
    await page.getByRole("button", { name: "Log out" }).click();
    await heading(page, "You are logged out");
    await frame();
    const files = Array.from({ length: count }, (_, at) => path.join(frames, `${at}.png`));
    const made = spawnSync("img2webp",
      ["-loop", "0", "-lossless", "-d", String(kFrameMs), ...files, "-o", path.join(here, "walk.webp")], { encoding: "utf8" });
    if (made.status !== 0) throw new Error(`img2webp: ${made.error?.message ?? made.stderr}`);
  });
} finally {
  await guests.stop();
  fs.rmSync(frames, { recursive: true });
}

// The gallery of the preview, as it opens.
const preview = await Preview.start(path.join(process.env.HOTSPOT_BUILD_DIR, "share/hotspot/pages"));
const browser = await startBrowser(["MAP * ~NOTFOUND", "EXCLUDE *.localhost", "EXCLUDE 127.0.0.1"]);
try {
  const page = await (await openWindow(browser, { width: 1280 })).newPage();
  await page.goto(preview.url);
  for (const device of ["phone", "desktop"]) {
    await page.frameLocator(`[data-state="login"] .${device} iframe`).getByRole("heading", { name: "Log in" }).waitFor();
  }
  await page.locator("#live", { hasText: "reloads by itself" }).waitFor();
  await page.locator("#directory").evaluate((place) => { place.textContent = "/srv/portal"; });
  await page.screenshot({ path: path.join(here, "preview.png") });
} finally {
  await browser.close();
  await preview.stop();
}

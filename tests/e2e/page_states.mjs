// Every page in every state that a guest can meet, as requests and the manager's replies to them.

import { secondsAgo, secondsAhead, wholeDirectory } from "./replayed.mjs";

export const languages = ["en", "de", "fr", "es", "lv", "ar", "ja"];
export const wanted = "http://www.example.com/news?a=1&b=2";

export const errorCodes = {
  "internal-error": 1, "config-error": 2, "not-logged-in": 3, "ippool-empty": 4, "shutting-down": 5,
  "user-session-limit": 6, "wrong-mac-username": 8, "chap-missing": 9, "invalid-username": 10,
  "invalid-mac": 11, "uptime-limit": 12, "traffic-limit": 13, "radius-timeout": 14, "auth-in-progress": 15,
  "radius-reply": 16, "unreachable": 0xfe0001, "silent": 0xfe0002, "other": 0x1f,
};

const place = { locationName: "Harbour Caf\u00e9", locationId: "isocc=lv,cc=371,ac=67,network=cafe" };
const guest = { ...place, chap: "\u0001ABCDEFGHIJKLMNOP" };
const session = {
  ...place, loggedIn: true, username: "anna", loginBy: "http-chap", mac: "001a2b3c4d5e",
  loginAt: secondsAgo(600), endsAt: secondsAhead(3000), refreshSecs: 60, idleSecs: 300,
  bytesIn: 5000000, bytesOut: 60000000, limitTotal: 100000000,
};
const dst = { dst: wanted };
const advertDue = 0x01000000;
const plainPasswords = 0x10;
const trial = 0x20;

// Without a language; `file` is the page that is shown.
export const states = [
  { file: "login", name: "login", page: "login", reply: guest },
  { file: "login", name: "login with an address", page: "login", parameters: dst, reply: { ...guest, options: trial } },
  { file: "login", name: "login over HTTPS", page: "login", ssl: true, reply: guest },
  { file: "login", name: "login that leads to HTTPS", page: "login", reply: { ...guest, sslLogin: true } },
  { file: "login", name: "login with plain passwords", page: "login", reply: { ...guest, options: plainPasswords } },
  ...Object.entries(errorCodes).map(([type, error]) => ({
    file: "flogin", name: `flogin, ${type}`, page: "login", method: "POST", parameters: dst, error,
    reply: { ...guest, options: trial, username: "anna", message: "The owner says: $(username) may not." },
  })),
  { file: "alogin", name: "alogin", page: "login", reply: session },
  { file: "alogin", name: "alogin with an address", page: "alogin", parameters: dst, reply: session },
  { file: "alogin", name: "alogin in another site's place", host: "www.example.com", path: "/news", reply: session },
  { file: "status", name: "status", page: "status", reply: session },
  { file: "status", name: "status with an address", page: "status", parameters: dst, reply: session },
  { file: "status", name: "status, nearly over", page: "status",
    reply: { ...session, loginAt: secondsAgo(3500), endsAt: secondsAhead(100), bytesOut: 93000000 } },
  { file: "status", name: "status without limits", page: "status",
    reply: { ...session, endsAt: undefined, limitTotal: 0, idleSecs: 0, refreshSecs: 0 } },
  { file: "status", name: "status past limits", page: "status",
    reply: { ...session, limitTotal: 64999999, limitIn: 4000000, limitOut: 60000000 } },
  { file: "status", name: "status, blocked", page: "status", reply: { ...session, state: 3 } },
  { file: "status", name: "status of a trial", page: "status", reply: { ...session, loginBy: "trial", username: "trial" } },
  { file: "set", name: "set", page: "set", reply: session },
  { file: "set", name: "set to never", page: "set", reply: { ...session, idleSecs: 0 } },
  { file: "logout", name: "logout", page: "logout", reply: { ...session, loggedIn: false } },
  { file: "advert", name: "advert", page: "advert", parameters: dst, reply: { ...session, advert: "http://sponsor.example.org/?a=1&b=2" } },
  { file: "redirect", name: "advert, none due", page: "advert", parameters: dst, reply: session },
  { file: "radvert", name: "radvert", host: "www.example.com", path: "/news", flags: advertDue, reply: session },
  { file: "redirect", name: "held back", host: "www.example.com", path: "/news", reply: guest },
  { file: "rstatus", name: "rstatus", page: "", reply: session },
  { file: "flogout", name: "flogout without an error", page: "flogout.html", reply: place },
  { file: "fadvert", name: "fadvert without an error", page: "fadvert.html", parameters: dst, reply: session },
  ...["flogout", "fset", "fadvert", "falogin"].flatMap((file) => [3, 1, 0xfe0002].map((error) => ({
    file, name: `${file}, ${error}`, page: file.slice(1), parameters: dst, reply: place, error,
  }))),
  { file: "fstatus", name: "fstatus", page: "status", reply: place, error: 3, directory: wholeDirectory },
  { file: "fstatus", name: "fstatus, silent", page: "status", reply: place, error: 0xfe0002, directory: wholeDirectory },
  { file: "rlogin", name: "rlogin", host: "www.example.com", path: "/news", reply: guest, directory: wholeDirectory },
  { file: "rlogin", name: "rlogin that leads to HTTPS", host: "www.example.com", path: "/news",
    reply: { ...guest, sslLogin: true }, directory: wholeDirectory },
  { file: "error", name: "error", page: "logo.png", reply: place, error: 0xfe0001 },
  { file: "error", name: "error in another site's place", host: "www.example.com", path: "/news", reply: place, error: 0xfe0002 },
];

// The states in a language; those in another site's place come in English, whatever the guest chose.
export const inLanguage = (language) => states.filter((state) => state.host === undefined)
  .map((state) => ({ ...state, parameters: { ...state.parameters, target: language } }));

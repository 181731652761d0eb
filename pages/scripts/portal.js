// What the portal's pages do in the browser. Every page stays readable when this does not run.
var language = document.documentElement.lang + "-u-nu-latn";

function number(value, digits, unit) {
  var options = { maximumFractionDigits: digits };
  if (unit) {
    options.style = "unit";
    options.unit = unit;
    options.unitDisplay = "short";
  }
  return new Intl.NumberFormat(language, options).format(value);
}

// The two largest units of a duration. Throws where the browser does not know units: then the portal's own text
// stays.
function duration(seconds) {
  var units = [["day", 86400], ["hour", 3600], ["minute", 60], ["second", 1]];
  var at = 0;
  while (at < 3 && seconds < units[at][1]) at++;
  var text = number(Math.floor(seconds / units[at][1]), 0, units[at][0]);
  var rest = at < 3 ? Math.floor(seconds % units[at][1] / units[at + 1][1]) : 0;
  return rest ? text + " " + number(rest, 0, units[at + 1][0]) : text;
}

function niceBytes(count) {
  var names = ["B", "KiB", "MiB", "GiB", "TiB"], at = 0;
  for (; count >= 2048 && at < 4; at++) count /= 1024;
  return number(count, at ? 1 : 0) + " " + names[at];
}

// What remains of a limit that is used up is a number that wrapped below zero.
function remaining(text, bits) {
  var count = Number(text);
  return count >= Math.pow(2, bits - 1) ? 0 : count;
}

function write(place, text) {
  if (place.textContent !== text) place.textContent = text;
}

function tell(place, format, value) {
  try {
    write(place, format(value));
  } catch (e) {
    place.removeAttribute("data-step");
  }
}

function fill(bar, value) {
  bar.value = value;
  bar.className = (bar.className.replace(/ ?\blow\b/, "") + (value < bar.max / 10 ? " low" : "")).trim();
}

// Shows all times as they are `elapsed` seconds after the page was made; gives the time left, when there is one.
function showTimes(elapsed) {
  var left, up = 0;
  each("[data-seconds]", function (place) {
    var step = Number(place.getAttribute("data-step"));
    var value = Math.max(0, remaining(place.getAttribute("data-seconds"), 32) + step * elapsed);
    if (step < 0) left = value;
    if (step > 0) up = value;
    tell(place, duration, value);
  });
  each("progress[data-time]", function (bar) {
    bar.max = Math.max(1, up + left);
    fill(bar, left);
  });
  return left;
}

function showBytes() {
  each("[data-bytes]", function (place) {
    tell(place, niceBytes, remaining(place.getAttribute("data-bytes"), 64));
  });
  each("progress[data-live]", function (bar) {
    fill(bar, remaining(bar.getAttribute("value"), 64));
  });
}

showBytes();
showTimes(0);

// Links that leave the hotspot: shown only when they lead to the web.
each("a[data-href]", function (link) {
  var target = decode(link.getAttribute("data-href"));
  if (!isWeb(target)) return;
  link.href = target;
  link.hidden = false;
});

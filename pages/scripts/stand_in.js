// Pages that may be shown in the place of another site's page: they lead on to the address of data-to, at once or
// after data-wait seconds.
var body = document.body;
var status = decode(body.getAttribute("data-status"));
var portal = isWeb(status) ? status.match(/^https?:\/\/[^\/]+\//i)[0] : "";

each("[data-portal]", function (link) {
  if (portal) link.href = portal + link.getAttribute("data-portal");
});

// A page of the portal's own is asked for in the browser's language, when none was chosen yet.
function inOwnLanguage(to) {
  var wanted = ((navigator.languages || [])[0] || navigator.language || "").toLowerCase().split("-")[0];
  var known = wanted !== document.documentElement.lang && document.querySelector("nav a[lang=" + JSON.stringify(wanted) + "]");
  // The language that was chosen is the directory of the portal's pages.
  if (!known || status !== portal + "status") return to;
  return to + (to.indexOf("?") < 0 ? "?" : "&") + "target=" + wanted;
}

function leadOn() {
  var to = decode(body.getAttribute("data-to"));
  if (!isWeb(to)) {
    var say = document.getElementById("say");
    say.textContent = say.getAttribute("data-refused");
    return;
  }
  // Waiting, the page can be read; on the way to the portal itself there is nothing to read.
  var wait = to === status ? 0 : Number(body.getAttribute("data-wait"));
  if (portal && to.indexOf(portal) === 0) to = inOwnLanguage(to);
  var go = document.getElementById("go");
  go.href = to;
  go.hidden = false;
  // Met in the place of the very page that it leads to, this page stays: it would only meet itself.
  if (to === location.href) return;
  setTimeout(function () {
    if (wait) location.assign(to);
    else location.replace(to);
  }, wait * 1000);
}

if (body.hasAttribute("data-to")) leadOn();

// Runs before anything is shown: marks the page as one with scripts, and on a first visit goes to the browser's
// language. A page that was asked for with a target, in the address or as a directory, is one that was chosen.
var root = document.documentElement;
root.className = "js";

var offered = (root.getAttribute("data-languages") || "").split(" ");
var chosen = /[?&]target=[^&]/i.test(location.search);
var preferred = navigator.languages || [navigator.language || ""];
for (var i = 0; i < preferred.length && offered.length > 1 && !chosen; i++) {
  var language = preferred[i].toLowerCase().split("-")[0];
  if (language === root.lang) break;
  if (offered.indexOf(language) >= 0) {
    // The query alone: a path of two slashes in front would name another host.
    location.replace((location.search || "?") + (location.search.length > 1 ? "&" : "") + "target=" + language);
    break;
  }
}

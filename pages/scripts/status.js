// The session's page: times run, and what changes is fetched and written into its place, so that nothing flickers,
// jumps or takes the focus away. What is more than a value changing loads the page anew.
function watchSession(main) {
  var notice = document.getElementById("notice");
  var link = document.getElementById("refresh");
  var madeAt = Date.now();
  var over = false;
  var timer;

  function elapsed() {
    return Math.floor((Date.now() - madeAt) / 1000);
  }

  function renew() {
    location.replace(link.href);
  }

  function tick() {
    var left = showTimes(elapsed());
    if (left === undefined || over) return;
    if (left < 300) write(notice, notice.getAttribute("data-soon"));
    if (left > 0) return;
    // A second later the portal knows it too.
    over = true;
    setTimeout(renew, 1500);
  }

  // Whether all that was fetched found its place.
  function take(fresh) {
    var places = document.querySelectorAll("[data-live]");
    var values = fresh.querySelectorAll("[data-live]");
    var same = document.querySelector("[data-same]");
    var other = fresh.querySelector("[data-same]");
    if (!other || places.length !== values.length || other.textContent !== same.textContent) return false;
    for (var i = 0; i < places.length; i++) {
      if (places[i].getAttribute("data-live") !== values[i].getAttribute("data-live")) return false;
      ["data-seconds", "data-bytes", "value", "max"].forEach(function (name) {
        if (values[i].hasAttribute(name)) places[i].setAttribute(name, values[i].getAttribute(name));
      });
      if (places[i].localName !== "progress") write(places[i], values[i].textContent);
    }
    return true;
  }

  function refresh(asked) {
    var request = new XMLHttpRequest();
    request.open("GET", link.href);
    request.onload = function () {
      var fresh = new DOMParser().parseFromString(request.responseText, "text/html");
      if (request.status !== 200 || !take(fresh)) return renew();
      madeAt = Date.now();
      showBytes();
      tick();
      if (asked) write(notice, notice.getAttribute("data-fresh"));
      plan();
    };
    // The network may be away for a while: the next time will do.
    request.onerror = asked ? renew : plan;
    request.send();
  }

  function plan() {
    var seconds = Number(main.getAttribute("data-refresh"));
    clearTimeout(timer);
    if (seconds > 0) timer = setTimeout(refresh, Math.max(seconds, 5) * 1000, false);
  }

  link.addEventListener("click", function (event) {
    event.preventDefault();
    write(notice, "");
    refresh(true);
  });
  setInterval(tick, 1000);
  tick();
  plan();
}

each("main[data-refresh]", watchSession);

// Texts that try to become markup, script, addresses, headers, directives or other names than they are.

const run = "document.title='run'";

const markup = [
  `<script>${run}</script>`, `</title><script>${run}</script>`, `</style><script>${run}</script>`,
  `</script><script>${run}</script>`, `</textarea><script>${run}</script>`, `</noscript><script>${run}</script>`,
  `--><script>${run}</script>`, `--!><script>${run}</script>`, `-- ><script>${run}</script>`, "-->", "--!>", "--", "->",
  ">", "<!--", "<!-->", "<![CDATA[x]]>", "]]>", "<?xml version=\"1.0\"?>", "&lt;script&gt;", "&#60;script&#62;", "&amp;",
  "&", "&#0;", "&quot;><x>", "&nosuch;", "<", "<x", "</", "<b>bold</b>", "<h1>Other</h1>", "</main></body></html>",
  `<svg onload=${run}>`, `<svg/onload="${run}">`, `<img src=x onerror=${run}>`, `<img src=x onerror="${run}">`,
  `<body onload=${run}>`, `<iframe src="javascript:${run}"></iframe>`, `<iframe srcdoc="<script>${run}</script>">`,
  `<details open ontoggle=${run}>`, `<input autofocus onfocus=${run}>`, `<meta http-equiv="refresh" content="0;url=http://evil.example/">`,
  "<base href=\"http://evil.example/\">", "<form action=\"http://evil.example/\">", "<link rel=stylesheet href=http://evil.example/>",
  "<style>*{display:none}</style>", `<math><mtext><script>${run}</script>`, `<template><script>${run}</script></template>`,
  `<object data="javascript:${run}">`, `<a href="javascript:${run}">x</a>`, `<plaintext>`, `<xmp><script>${run}</script>`,
];
const attributes = [
  `"><script>${run}</script>`, `'><script>${run}</script>`, `"><img src=x onerror=${run}>`, `" onmouseover="${run}`,
  `' onmouseover='${run}`, `" autofocus onfocus="${run}`, `" style="position:fixed;inset:0`, "\"", "'", "`", "\" x=\"",
  "\"/><x y=\"", `" href="javascript:${run}`, "\" action=\"http://evil.example/", "\\\"", "\\", "\\u003cscript\\u003e",
  `\\x3cscript\\x3e${run}`, `");${run}//`, `');${run}//`, `\${${run}}`, "{{7*7}}", "{% x %}",
];
const addresses = [
  `javascript:${run}`, `JaVaScRiPt:${run}`, ` javascript:${run}`, `\tjavascript:${run}`, `java\nscript:${run}`,
  `\u0001javascript:${run}`, `javascript://www.example.com/%0A${run}`, `javascript:%0d%0a${run}`, `vbscript:${run}`,
  `data:text/html,<script>${run}</script>`, "data:text/html;base64,PHNjcmlwdD4=", "file:///etc/passwd", "about:blank",
  "blob:http://www.example.com/x", "view-source:http://www.example.com/", "//evil.example/", "///evil.example/",
  "\\\\evil.example\\", "/\\evil.example/", "http:evil.example", "http:/evil.example", "http:///evil.example",
  "http://\\evil.example/", "https:///x", "http:// evil.example/", "@evil.example/", ":80@evil.example/",
  ".evil.example/", "../../../etc/passwd", "..%2f..%2fetc", "?dst=http://evil.example/", "#fragment", "ftp://evil.example/",
  "intent://evil.example/#Intent;end", "tel:0", "mailto:a@b", "ws://evil.example/",
];
const bytes = [
  "\r\nX-Injected: 1", "\r\nSet-Cookie: loginID=1\r\n\r\n<html>", "\nX-Injected: 1", "\u0000", "a\u0000b", "\u0001", "\u001b[31m",
  "\u007f", "\u0085", "\u2028alert(1)", "\u2029alert(1)", "\u202Egnirts", "\uFEFF", "\uFFFE", "\u00A0", "\u00ADsoft", "\u{1F600}",
  "x".repeat(600), "\u0627\u0644\u0639\u0631\u0628\u064A\u0629", "'; DROP TABLE users; --",
];
const directives = [
  "$(username)", "%username%", "$(error)", "%error-orig%", "$(if ip)x$(endif)", "$(endif)", "$(else)", "%endif%", "$(nosuch)", "$(", "%",
  "100%", "$(link-orig-esc)", "$(if username == a)", "\\$(username)", "%(username)", "$(radius)", "$(password)",
];

export const hostileTexts = [...markup, ...attributes, ...addresses, ...bytes, ...directives];

// A person tries demo/plus in the connector's page, in a real browser (Debian's chromium
// driven by playwright-core): opens /v1/docs, enters the token, calls plus with 1 and 2 and
// must see 3. Also checks that the token never reaches a URL or the browser's storage.
//   node try-plus.mjs BASE_URL TOKEN      (BASE_URL: https://localhost:PORT/v1)
import { chromium } from "playwright-core";

const [baseUrl, token] = process.argv.slice(2);
if (!baseUrl || !token) {
  console.error("usage: node try-plus.mjs BASE_URL TOKEN");
  process.exit(2);
}
const fail = (message) => {
  console.error("try-plus: " + message);
  process.exitCode = 1;
};

const browser = await chromium.launch({
  executablePath: process.env.KORVAN_CHROMIUM || "/usr/bin/chromium",
  args: ["--no-sandbox", "--disable-dev-shm-usage"],
  timeout: 60000,
});
try {
  // The connector's certificate is its own: this browser profile trusts it for the test.
  const context = await browser.newContext({ ignoreHTTPSErrors: true });
  const page = await context.newPage();
  page.setDefaultTimeout(30000);
  const urls = [];
  page.on("request", (request) => urls.push(request.url()));

  await page.goto(baseUrl + "/docs");
  await page.fill("#token", token);
  await page.click("#token-form button[type=submit]");

  const operation = page.locator(".opblock-post", { hasText: "/services/demo/plus" });
  await operation.locator(".opblock-summary").click();
  const tryItOut = operation.locator("button.try-out__btn");
  if (await tryItOut.count()) {
    const label = (await tryItOut.textContent()) || "";
    if (!/cancel/i.test(label)) await tryItOut.click();
  }
  await operation.locator("textarea.body-param__text").fill('{"args": [1, 2], "nargout": 1}');
  await operation.locator("button.execute").click();
  const body = operation.locator(".responses-wrapper .live-responses-table .response-col_description pre");
  await body.first().waitFor();
  const text = (await body.first().textContent()) || "";
  const results = JSON.parse(text).results;
  if (JSON.stringify(results) !== "[3]") fail("plus(1, 2) showed " + text);
  else console.log("try-plus: the page showed " + text.replace(/\s+/g, ""));

  if (urls.some((url) => url.includes(token))) fail("the token appeared in a URL");
  const stored = await page.evaluate(() =>
    JSON.stringify([Object.entries(localStorage), Object.entries(sessionStorage), document.cookie]));
  if (stored.includes(token)) fail("the token was stored by the browser");
} catch (e) {
  fail(e.message);
} finally {
  await browser.close();
}

// The page to try the connector's functions. The token stays in this tab's memory: it is never
// put into a URL, a cookie or the browser's storage, and it goes only into the Authorization
// header of requests to this connector.
(function () {
  "use strict";
  const form = document.getElementById("token-form");
  const status = document.getElementById("status");
  form.addEventListener("submit", async function (event) {
    event.preventDefault();
    const token = document.getElementById("token").value.trim();
    status.textContent = "Loading...";
    let response;
    try {
      response = await fetch("/v1/openapi.json", {
        headers: { Authorization: "Bearer " + token },
        cache: "no-store",
      });
    } catch (e) {
      status.textContent = "The connector does not answer: " + e.message;
      return;
    }
    if (!response.ok) {
      const body = await response.json().catch(() => ({}));
      const message = body.error ? body.error.message : response.statusText;
      status.textContent = "Refused (" + response.status + "): " + message;
      return;
    }
    const spec = await response.json();
    status.textContent = "";
    window.SwaggerUIBundle({
      spec: spec,
      dom_id: "#ui",
      tryItOutEnabled: true,
      persistAuthorization: false,
      requestInterceptor: function (request) {
        request.headers.Authorization = "Bearer " + token;
        return request;
      },
    });
  });
})();

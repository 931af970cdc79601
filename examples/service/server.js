// Serves the sample on 127.0.0.1 only, on the port in PORT (4004 if unset). The OData V2
// adapter forwards each request to the V4 service of the same server, on that same address, and
// answers in Atom unless the request asks for JSON (it would answer "Accept: */*" in JSON).
const cds = require("@sap/cds");
const express = require("express");
const http = require("http");

const host = process.env.HOST || "127.0.0.1";
const port = Number(process.env.PORT || 4004);
cds.env.cov2ap = cds.env.cov2ap || {};
cds.env.cov2ap.target = `http://${host}:${port}`;

module.exports = (options) => {
  const app = express();
  const listen = app.listen.bind(app);
  // The adapter writes links to "localhost", which a client may look up as ::1 first: on
  // 127.0.0.1 the same app also listens on ::1 where the machine has it.
  app.listen = (listenPort, ...rest) => {
    const server = listen(listenPort, host, ...rest);
    if (host === "127.0.0.1") {
      const v6 = http.createServer(app);
      v6.on("error", () => {});
      server.once("listening", () => v6.listen(server.address().port, "::1"));
      server.on("close", () => v6.close());
    }
    return server;
  };
  app.use("/odata/v2", (req, res, next) => {
    if (req.headers.accept === "*/*") delete req.headers.accept;
    next();
  });
  return cds.server({ ...options, app, port });
};

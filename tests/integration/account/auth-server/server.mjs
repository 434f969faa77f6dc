// The account server for the account integration tests, on loopback only.
// Prints "listening PORT" once it answers. Flags: --verify (sign-in needs a confirmed
// email), --rate-limit, --parent PID (stops when that process is gone, so a test that
// dies never leaves its server running).
import http from "node:http";
import { betterAuth } from "better-auth";
import { toNodeHandler } from "better-auth/node";
import { memoryAdapter } from "better-auth/adapters/memory";
import { bearer } from "better-auth/plugins/bearer";
import { jwt } from "better-auth/plugins/jwt";
import { deviceAuthorization } from "better-auth/plugins/device-authorization";

const args = process.argv.slice(2);
const flags = new Set(args);
const parent = args.includes("--parent") ? Number(args[args.indexOf("--parent") + 1]) : null;
const database = { user: [], session: [], account: [], verification: [], jwks: [], deviceCode: [] };

let handler = null;
const server = http.createServer((request, response) => handler(request, response));

server.listen(0, "127.0.0.1", () => {
  const { port } = server.address();
  const origin = `http://127.0.0.1:${port}`;
  const auth = betterAuth({
    baseURL: origin,
    trustedOrigins: [origin],
    secret: "lumivale-tests-secret-that-is-long-enough-0123456789",
    database: memoryAdapter(database),
    emailAndPassword: { enabled: true, requireEmailVerification: flags.has("--verify") },
    emailVerification: { sendVerificationEmail: async () => {} },
    rateLimit: { enabled: flags.has("--rate-limit") },
    plugins: [bearer(), jwt(), deviceAuthorization({ interval: "1s", expiresIn: "5m" })],
  });
  handler = toNodeHandler(auth);
  process.stdout.write(`listening ${port}\n`);
});

if (parent) {
  setInterval(() => {
    try {
      process.kill(parent, 0);
    } catch {
      process.exit(0);
    }
  }, 500).unref();
}

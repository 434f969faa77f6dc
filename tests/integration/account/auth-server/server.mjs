// The account server for the account integration tests, on loopback only.
// Prints "listening PORT" once it answers; stops when its standard input closes,
// so a test that dies never leaves it running.
// Flags: --verify (sign-in needs a confirmed email), --rate-limit.
import http from "node:http";
import { betterAuth } from "better-auth";
import { toNodeHandler } from "better-auth/node";
import { memoryAdapter } from "better-auth/adapters/memory";
import { bearer } from "better-auth/plugins/bearer";
import { jwt } from "better-auth/plugins/jwt";
import { deviceAuthorization } from "better-auth/plugins/device-authorization";

const flags = new Set(process.argv.slice(2));
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

process.stdin.on("end", () => process.exit(0));
process.stdin.resume();

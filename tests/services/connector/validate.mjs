// Validates OpenAPI documents with a real validator: node validate.mjs FILE...
// Prints each file's errors and exits 1 when one is not a valid OpenAPI document.
import { Validator } from "@seriousme/openapi-schema-validator";
import { readFile } from "node:fs/promises";

let failed = false;
for (const file of process.argv.slice(2)) {
  const validator = new Validator();
  const result = await validator.validate(JSON.parse(await readFile(file, "utf8")));
  if (!result.valid) {
    failed = true;
    console.error(`${file}: not a valid OpenAPI ${validator.version} document`);
    console.error(JSON.stringify(result.errors, null, 2));
  } else {
    console.log(`${file}: valid OpenAPI ${validator.version}`);
  }
}
if (process.argv.length < 3) {
  console.error("usage: node validate.mjs FILE...");
  process.exit(2);
}
process.exit(failed ? 1 : 0);

// Builds the inspector's page to one file: `node build.mjs FILE`. Styles and script stand inside, allowed by their
// hashes in the page's content security policy, so nothing is fetched and nothing else can run.

import { createHash } from "node:crypto";
import { readdirSync, readFileSync, writeFileSync } from "node:fs";
import { dirname, join, relative } from "node:path";
import { fileURLToPath } from "node:url";

import Ajv2020 from "ajv/dist/2020.js";
import standaloneCode from "ajv/dist/standalone/index.js";
import { build } from "esbuild";

const here = dirname(fileURLToPath(import.meta.url));
const schemaFile = join(here, "../../docs/upload.schema.json");

// The schema becomes code here: in the page, the policy forbids to make code from text.
function compiledSchema(schema) {
    const id = "upload";
    const ajv = new Ajv2020.default({ allErrors: true, strict: true, strictTypes: false, strictRequired: false, code: { source: true, esm: true } });
    ajv.addSchema(schema, id);
    return standaloneCode.default(ajv, { validateDocument: id, validateReply: `${id}#/$defs/reply` });
}

const schemaPlugin = {
    name: "schema",
    setup({ onResolve, onLoad }) {
        onResolve({ filter: /^compiled-schema$/ }, () => ({ path: schemaFile, namespace: "schema" }));
        onLoad({ filter: /.*/, namespace: "schema" }, () => ({
            contents: compiledSchema(JSON.parse(readFileSync(schemaFile, "utf8"))),
            loader: "js",
            resolveDir: here,
        }));
    },
};

const packages = new Set();

async function bundled(entry) {
    const result = await build({
        entryPoints: [join(here, "src", entry)],
        bundle: true,
        minify: true,
        write: false,
        format: "iife",
        target: "es2022",
        legalComments: "none",
        metafile: true,
        jsx: "automatic",
        jsxImportSource: "preact",
        plugins: [schemaPlugin],
    });
    for (const input of Object.keys(result.metafile.inputs)) {
        const name = /node_modules\/((?:@[^/]+\/)?[^/]+)\//.exec(input)?.[1];
        if (name) packages.add(name);
    }
    return result.outputFiles[0].text.trim();
}

/** The licences of what is inside, which ask to go along. */
function licences() {
    return [...packages].sort().map((name) => {
        const folder = join(here, "node_modules", name);
        const { version } = JSON.parse(readFileSync(join(folder, "package.json"), "utf8"));
        return `${name} ${version}\n\n${readFileSync(join(folder, "LICENSE"), "utf8").trim()}`;
    });
}

/** Of everything that the page is built from, so that a stale page is seen without building it: scripts/checks/page.py. */
function sourcesDigest() {
    const sources = readdirSync(join(here, "src")).map((name) => join(here, "src", name));
    const files = [join(here, "build.mjs"), join(here, "package-lock.json"), schemaFile, ...sources];
    const sha256 = (content) => createHash("sha256").update(content).digest("hex");
    const named = files.map((file) => [relative(join(here, "../.."), file), file]).sort(([one], [other]) => (one < other ? -1 : 1));
    return sha256(named.map(([name, file]) => `${name} ${sha256(readFileSync(file))}\n`).join(""));
}

const source = (text) => `'sha256-${createHash("sha256").update(text).digest("base64")}'`;

const script = await bundled("main.tsx");
const style = await bundled("style.css");
if (script.includes("</script") || style.includes("</style")) throw new Error("a text ends its element");
const policy = [
    "default-src 'none'",
    `script-src ${source(script)}`,
    `style-src ${source(style)}`,
    "img-src data:",
    "connect-src 'self'",
    "base-uri 'none'",
    "form-action 'none'",
].join("; ");
const notices = licences().join("\n\n----\n\n");
if (notices.includes("-->")) throw new Error("a licence ends its comment");
const places = { POLICY: policy, STYLE: style, SCRIPT: script, LICENCES: notices, SOURCES: sourcesDigest() };
const page = readFileSync(join(here, "src/page.html"), "utf8").replace(/\{\{(\w+)\}\}/g, (_, name) => places[name]);
writeFileSync(process.argv[2], page);

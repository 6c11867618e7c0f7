// What the schema of uploads says: whether a document follows it, and what its keys mean.

import { type SchemaError, validateDocument, validateReply } from "compiled-schema";

import schema from "../../../docs/upload.schema.json";
import { memberPath } from "./json.ts";
import type { Problem } from "./problems.ts";

type Schema = { description?: string; $ref?: string; properties?: Record<string, unknown> };
const definitions = schema.$defs as Record<string, Schema>;

const recordDefinitions: Record<string, string> = { goal: "goal", pages: "page", click: "record", revenue: "record" };

function meaningIn(name: string, key: string): string | undefined {
    const definition = definitions[name];
    const property = definition?.properties?.[key] as Schema | true | undefined;
    // "likewise" only says something below the line before.
    if (property && property !== true && property.description !== "likewise" && property.description) return property.description;
    const base = definition?.$ref?.replace("#/$defs/", "");
    return base ? meaningIn(base, key) : undefined;
}

/** What a key of a document means, by its path ("/session/uuid", "/pages/0/page_views"). */
export function meaningOf(path: string): string | undefined {
    const [, section = "", key, inRecord] = path.split("/");
    if (key === undefined) return meaningIn("document", section);
    if (section === "session" || section === "postback") return inRecord === undefined ? meaningIn(section, key) : undefined;
    const definition = recordDefinitions[section];
    return definition && inRecord !== undefined ? meaningIn(definition, inRecord) : undefined;
}

/** What a key of a reply means. */
export function replyMeaningOf(path: string): string | undefined {
    return meaningIn("reply", path.slice(1));
}

function descriptionAt(schemaPath: string): string | undefined {
    const steps = schemaPath.split("/").slice(1).map(decodeURIComponent);
    let place: unknown = schema;
    let description: string | undefined;
    for (const step of steps) {
        if (typeof place !== "object" || place === null) break;
        place = (place as Record<string, unknown>)[step.replaceAll("~1", "/").replaceAll("~0", "~")];
        description = (place as Schema | undefined)?.description;
    }
    return description;
}

function problemFrom(error: SchemaError): Problem {
    const { instancePath: path, keyword, params } = error;
    switch (keyword) {
        case "required":
            return { kind: "missing", path: memberPath(path, params.missingProperty as string), text: "is missing" };
        case "additionalProperties":
        case "unevaluatedProperties": {
            const key = (params.additionalProperty ?? params.unevaluatedProperty) as string;
            return { kind: "schema", path: memberPath(path, key), text: "is not known here" };
        }
        case "const":
            return { kind: "schema", path, text: `must be ${JSON.stringify(params.allowedValue)}` };
        case "enum":
            return { kind: "schema", path, text: `must be one of ${JSON.stringify(params.allowedValues)}` };
        default: {
            const owner = descriptionAt(error.schemaPath.slice(0, error.schemaPath.lastIndexOf("/")));
            return { kind: "schema", path, text: `${error.message ?? "is wrong"}${owner ? ` (${owner})` : ""}` };
        }
    }
}

function problemsOf(errors: SchemaError[] | null | undefined): Problem[] {
    if (!errors) return [];
    // A choice of which nothing fits is one problem, not one for each branch.
    const choices = errors.filter((error) => error.keyword === "anyOf" || error.keyword === "oneOf");
    const isOfChoice = (error: SchemaError) => choices.some((choice) => error.schemaPath.startsWith(`${choice.schemaPath}/`));
    const telling = errors.filter((error) => error.keyword !== "if" && !isOfChoice(error));
    const problems = telling.map(problemFrom);
    const seen = new Set<string>();
    return problems.filter(({ path, text }) => !seen.has(path + text) && seen.add(path + text));
}

export function documentProblems(document: unknown): Problem[] {
    return validateDocument(document) ? [] : problemsOf(validateDocument.errors);
}

export function replyProblems(reply: unknown): Problem[] {
    return validateReply(reply) ? [] : problemsOf(validateReply.errors);
}

// JSON as it was written: a number keeps the text in which it came, so that 42.0 is not shown as 42.

export type Json = null | boolean | number | string | Json[] | JsonObject | NumberText;
export interface JsonObject {
    [key: string]: Json;
}

export class NumberText {
    constructor(
        readonly text: string,
        readonly value: number,
    ) {}
}

/** Like JSON.parse, but a number whose text says more than its value becomes a NumberText. */
export function parseFaithfully(text: string): Json {
    type Reviver = (key: string, value: Json, context?: { source?: string }) => Json;
    const reviver: Reviver = (_key, value, context) => {
        const source = context?.source;
        const isOther = typeof value === "number" && source !== undefined && source !== String(value);
        return isOther ? new NumberText(source, value) : value;
    };
    return JSON.parse(text, reviver as (key: string, value: unknown) => unknown) as Json;
}

export function isObject(value: Json | undefined): value is JsonObject {
    return typeof value === "object" && value !== null && !Array.isArray(value) && !(value instanceof NumberText);
}

export function numberIn(value: Json | undefined): number | undefined {
    if (value instanceof NumberText) return value.value;
    return typeof value === "number" ? value : undefined;
}

/** The path of a member as a JSON pointer. */
export function memberPath(path: string, key: string | number): string {
    return `${path}/${String(key).replaceAll("~", "~0").replaceAll("/", "~1")}`;
}

/** The text laid out over lines, numbers as they came. */
export function laidOut(value: Json, indent = ""): string {
    if (value instanceof NumberText) return value.text;
    const inner = `${indent}  `;
    if (Array.isArray(value)) {
        if (value.length === 0) return "[]";
        return `[\n${value.map((each) => inner + laidOut(each, inner)).join(",\n")}\n${indent}]`;
    }
    if (isObject(value)) {
        const members = Object.entries(value);
        if (members.length === 0) return "{}";
        const lines = members.map(([key, member]) => `${inner}${JSON.stringify(key)}: ${laidOut(member, inner)}`);
        return `{\n${lines.join(",\n")}\n${indent}}`;
    }
    return JSON.stringify(value);
}

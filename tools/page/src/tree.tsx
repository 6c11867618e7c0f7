// A JSON value as a tree: containers open and close, keys tell what they mean, what is wrong is marked where it stands.

import type { ComponentChildren } from "preact";

import { countText, momentText } from "./format.ts";
import { isObject, type Json, memberPath, NumberText } from "./json.ts";
import { isBroken, type Problem } from "./problems.ts";

const longestText = 2000;

export interface TreeContext {
    problems: Problem[];
    meaningOf?: (path: string) => string | undefined;
    hidesEmpty?: boolean;
}

const isEmpty = (value: Json) => value === "" || (typeof value === "object" && value !== null && !(value instanceof NumberText) && Object.keys(value).length === 0);

function noteOn(path: string, value: Json): string | undefined {
    const key = path.slice(path.lastIndexOf("/") + 1);
    const number = value instanceof NumberText ? value.value : value;
    if (typeof number !== "number" || number <= 0) return undefined;
    if (/_millis$/.test(key)) return momentText(number / 1000);
    return /(^|_)time(_|$)/.test(key) && number > 1e8 && number < 1e11 ? momentText(number) : undefined;
}

export function Scalar({ value }: { value: Json }) {
    if (value instanceof NumberText) return <span class="v-number">{value.text}</span>;
    if (typeof value === "string") {
        const shown = value.length > longestText ? `${value.slice(0, longestText)}… (${countText(value.length, "character")})` : value;
        return <span class="v-text">"{shown}"</span>;
    }
    if (typeof value === "number") return <span class="v-number">{String(value)}</span>;
    return <span class="v-word">{String(value)}</span>;
}

function Problems({ at }: { at: Problem[] }) {
    return (
        <>
            {at.map((problem) => (
                <span class={`problem ${problem.kind}`} key={problem.text}>
                    {problem.text}
                </span>
            ))}
        </>
    );
}

function Row(props: { name: string; path: string; context: TreeContext; children: ComponentChildren }) {
    const { name, path, context } = props;
    const at = context.problems.filter((problem) => problem.path === path);
    const meaning = context.meaningOf?.(path);
    return (
        <li class={at.length > 0 ? "row marked" : "row"} data-path={path}>
            <span class="key" title={meaning}>
                {name}
            </span>
            <span class="value">
                {props.children}
                <Problems at={at} />
            </span>
            {meaning && <span class="meaning">{meaning}</span>}
        </li>
    );
}

function sizeText(value: Json): string {
    if (Array.isArray(value)) return countText(value.length, "element");
    return countText(isObject(value) ? Object.keys(value).length : 0, "member");
}

/** A container under its name. */
export function Branch(props: { name: string; path: string; value: Json; context: TreeContext; isOpen?: boolean; badge?: string }) {
    const { name, path, value, context } = props;
    const at = context.problems.filter((problem) => problem.path === path);
    const inside = context.problems.filter((problem) => problem.path.startsWith(`${path}/`));
    return (
        <details class={at.length > 0 ? "branch marked" : "branch"} open={props.isOpen} data-path={path}>
            <summary>
                <span class="key">{name}</span>
                <span class="size">{props.badge ?? sizeText(value)}</span>
                {inside.length > 0 && <span class={isBroken(inside) ? "inside" : "inside doubtful"}>{countText(inside.length, "problem")}</span>}
                <Problems at={at} />
            </summary>
            <Members value={value} path={path} context={context} />
        </details>
    );
}

/** The members of a container. */
export function Members({ value, path, context }: { value: Json; path: string; context: TreeContext }) {
    const members: [string, Json][] = Array.isArray(value)
        ? value.map((each, index) => [String(index), each])
        : isObject(value)
          ? Object.entries(value)
          : [];
    const isMarked = (at: string) => context.problems.some((problem) => problem.path === at || problem.path.startsWith(`${at}/`));
    const shown = members.filter(([key, member]) => !context.hidesEmpty || !isEmpty(member) || isMarked(memberPath(path, key)));
    const missing = context.problems.filter(
        (problem) => problem.kind === "missing" && problem.path.slice(0, problem.path.lastIndexOf("/")) === path,
    );
    const isInList = Array.isArray(value);
    return (
        <ul class="members">
            {missing.map(({ path: at }) => (
                <Row name={at.slice(at.lastIndexOf("/") + 1)} path={at} context={context} key={at}>
                    <span />
                </Row>
            ))}
            {shown.map(([key, member]) => {
                const at = memberPath(path, key);
                const isContainer = Array.isArray(member) || isObject(member);
                if (isContainer && !isEmpty(member)) {
                    const name = isInList ? `${Number(key) + 1}` : key;
                    return (
                        <li key={at}>
                            <Branch name={name} path={at} value={member} context={context} isOpen={isInList && members.length <= 20} />
                        </li>
                    );
                }
                const note = noteOn(at, member);
                return (
                    <Row name={isInList ? `${Number(key) + 1}` : key} path={at} context={context} key={at}>
                        {isContainer ? <span class="v-empty">{Array.isArray(member) ? "[ ]" : "{ }"}</span> : <Scalar value={member} />}
                        {note && <span class="note">{note}</span>}
                    </Row>
                );
            })}
            {members.length === 0 && missing.length === 0 && <li class="none">empty</li>}
            {shown.length < members.length && <li class="none">{countText(members.length - shown.length, "empty member")} hidden</li>}
        </ul>
    );
}

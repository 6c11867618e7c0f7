// Light, dark, or as the system has it.

import { useState } from "preact/hooks";

const key = "harvelstone-theme";
const themes = ["system", "light", "dark"] as const;
type Theme = (typeof themes)[number];

function stored(): Theme {
    try {
        const value = localStorage.getItem(key);
        return themes.find((theme) => theme === value) ?? "system";
    } catch {
        return "system"; // a page from a file may have no storage
    }
}

function apply(theme: Theme) {
    document.documentElement.dataset.theme = theme;
    window.dispatchEvent(new Event("themechange"));
}

export const restoreTheme = () => apply(stored());

export function ThemeButton() {
    const [theme, setTheme] = useState(stored());
    const next = themes[(themes.indexOf(theme) + 1) % themes.length] ?? "system";
    const change = () => {
        try {
            localStorage.setItem(key, next);
        } catch {
            // it then lasts as long as the page
        }
        apply(next);
        setTheme(next);
    };
    const icon = { system: "◐", light: "☀", dark: "☾" }[theme];
    return (
        <button type="button" class="quiet" onClick={change} title={`Theme: ${theme}; switch to ${next}`} aria-label={`Theme: ${theme}`}>
            {icon}
        </button>
    );
}

// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "views/view_context.h"

#include <utility>

namespace views {

/// The windows around the login form: what follows a successful sign-in.
/// Main thread; what the context refers to must outlive it.
class LoginViewWrapper final
{
public:
    explicit LoginViewWrapper(ViewContext context)
        : m_to(std::move(context))
    {
    }

    /// Starts the services anew, closes the login window and opens the dashboard a moment later.
    void loginSucceeded() const;

private:
    ViewContext m_to;
};

} // namespace views
